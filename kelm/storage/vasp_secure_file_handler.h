#pragma once

#include "kelm/base/data.h"
#include "kelm/base/export.h"
#include "kelm/storage/secret_data.h"
#include "kelm/storage/vasp_file_handler.h"

namespace kelm {

/// A file handler whose every store encrypts and whose every read decrypts: AES in CBC mode with
/// PKCS #7 padding under one key and vector. A file is the bare ciphertext. Nothing in it tells a
/// changed byte, a cut at a block or another key: a read may then give wrong bytes instead of
/// none.
///
/// Keeps copies of key and vector, overwritten when dropped. Set them once before use: every
/// store and every read of a file that exists raises "aes key not ready" until then. Any thread
/// may call; what runs while they change uses the old pair or the new one.
class KELM_API VaspSecureFileHandler : public VaspFileHandler {
 public:
  /// `setAESKey:andIV:` Replaces both. Keys of up to 16 bytes make AES-128, 24 AES-192, 32
  /// AES-256; with other lengths nothing is encrypted or decrypted.
  void setAESKey_andIV(std::optional<DataView> key, std::optional<DataView> iv);

  /// `encryptNSData:` Absent for absent data and when the cipher fails. Raises "aes key not
  /// ready" without a key.
  std::optional<Data> encryptNSData(std::optional<DataView> data) const;
  /// `decryptNSData:` The same for a ciphertext; absent too when it is no whole number of blocks
  /// or its padding is wrong.
  std::optional<Data> decryptNSData(std::optional<DataView> data) const;

  /// `storeNSData_:toPath:` Absent data is logged and refused.
  bool storeNSData_toPath(std::optional<DataView> data, Path path) const override;
  /// `readNSDataFromPath_:` Absent when the file cannot be read or decrypted.
  std::optional<Data> readNSDataFromPath_(Path path) const override;

  /// `copyAndEncryptFileWithFullPath:toDestFullPath:` Writes the plain source, encrypted, over
  /// the destination, atomically; makes the destination's parents. False, with a WARN line and
  /// what was at the destination kept, when a step fails; false, silently, for an empty or absent
  /// path.
  bool copyAndEncryptFileWithFullPath_toDestFullPath(Path source, Path destination) const;

 private:
  struct Keys {
    SecretPointer key;
    SecretPointer iv;
  };
  Keys keys() const;

  mutable Mutex mutex_;
  Keys keys_ KELM_GUARDED_BY(mutex_);
};

}  // namespace kelm
