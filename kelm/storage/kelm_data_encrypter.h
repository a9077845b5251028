#pragma once

#include <optional>
#include <string_view>

#include "kelm/base/data.h"
#include "kelm/base/export.h"
#include "kelm/storage/secret_data.h"

namespace kelm {

/// AES in CBC mode with PKCS #7 padding under a key and vector that the object holds; both are
/// overwritten when dropped. Every operation may be called from any thread.
class KELM_API KelmDataEncrypter {
 public:
  KelmDataEncrypter() = default;

  /// `sharedInstance` The encrypter of the account records. Its key and vector are the same in
  /// every copy of the library: it obscures, it does not protect.
  static KelmDataEncrypter& sharedInstance();

  /// `aesKey`, `aesIV` Copies; absent until set.
  std::optional<Data> aesKey() const { return copyOf(aesKey_.get()); }
  std::optional<Data> aesIV() const { return copyOf(aesIV_.get()); }
  void setAesKey(std::optional<DataView> key) { aesKey_.set(key); }
  void setAesIV(std::optional<DataView> iv) { aesIV_.set(iv); }

  /// `setKey:` The text's UTF-8 bytes.
  void setKey(std::optional<std::string_view> key);
  /// `setIV:` The text's UTF-8 bytes.
  void setIV(std::optional<std::string_view> iv);
  /// `setDataKey:`
  void setDataKey(std::optional<DataView> key) { setAesKey(key); }
  /// `setDataIV:`
  void setDataIV(std::optional<DataView> iv) { setAesIV(iv); }

  /// `encrypt:` Absent for absent data and when the cipher fails. Without a key the key is all zero
  /// bytes.
  std::optional<Data> encrypt(std::optional<DataView> data) const;
  /// `decrypt:` Absent also for a ciphertext that is no whole number of blocks or is wrongly
  /// padded.
  std::optional<Data> decrypt(std::optional<DataView> data) const;

 private:
  SecretCell aesKey_;
  SecretCell aesIV_;
};

}  // namespace kelm
