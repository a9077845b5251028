#include "kelm/storage/vasp_secure_file_handler.h"

#include <exception>
#include <utility>

#include "kelm/base/error.h"
#include "kelm/crypto/vasp_aes.h"
#include "kelm/platform/file_system.h"
#include "kelm/storage/log_lines.h"
#include "kelm/storage/paths.h"

namespace kelm {

namespace {

constexpr std::string_view kKeyNotReady = "aes key not ready";

using Cipher = std::optional<Data> (*)(std::optional<DataView> data, std::optional<DataView> key,
                                       std::optional<DataView> iv);

std::optional<Data> run(Cipher cipher, std::optional<DataView> data, const SecretPointer& key,
                        const SecretPointer& iv) {
  std::optional<Data> result;
  try {
    if (data) result = cipher(data, viewOf(key), viewOf(iv));
  } catch (const std::exception&) {
    result.reset();
  }
  if (!key) throw Exception(kKeyNotReady, kKeyNotReady);
  return result;
}

}  // namespace

void VaspSecureFileHandler::setAESKey_andIV(std::optional<DataView> key,
                                            std::optional<DataView> iv) {
  Keys next{makeSecret(key), makeSecret(iv)};
  const Lock lock(mutex_);
  std::swap(keys_, next);
}

VaspSecureFileHandler::Keys VaspSecureFileHandler::keys() const {
  const Lock lock(mutex_);
  return keys_;
}

std::optional<Data> VaspSecureFileHandler::encryptNSData(std::optional<DataView> data) const {
  const Keys keys = this->keys();
  return run(&VaspAES::aesEncryptData_WithBytesKey_withBytesIV, data, keys.key, keys.iv);
}

std::optional<Data> VaspSecureFileHandler::decryptNSData(std::optional<DataView> data) const {
  const Keys keys = this->keys();
  return run(&VaspAES::aesDecryptData_WithBytesKey_withBytesIV, data, keys.key, keys.iv);
}

bool VaspSecureFileHandler::storeNSData_toPath(std::optional<DataView> data, Path path) const {
  if (!data) {
    file_log::warn("-[VaspSecureFileHandler storeNSData_:toPath:]", "No data to store in : %@",
                   path);
    return false;
  }
  return VaspFileHandler::storeNSData_toPath(encryptNSData(data), path);
}

std::optional<Data> VaspSecureFileHandler::readNSDataFromPath_(Path path) const {
  if (!path) return std::nullopt;
  return decryptNSData(VaspFileHandler::readNSDataFromPath_(path));
}

bool VaspSecureFileHandler::copyAndEncryptFileWithFullPath_toDestFullPath(Path source,
                                                                          Path destination) const {
  if (paths::isEmpty(source) || paths::isEmpty(destination)) return false;
  platform::FileSystem& files = *platform::current<platform::FileSystem>();
  std::optional<Data> plain;
  if (auto content = files.readFile(std::string(*source))) plain = std::move(*content);
  const std::optional<Data> ciphertext = encryptNSData(plain);
  ensureFullPathExists_andClearFiles(paths::parent(*destination), false);
  Failure failure;
  if (ciphertext) failure = files.replaceFile(std::string(*destination), *ciphertext);
  if (ciphertext && !failure) {
    setGlobalAttributesToFullpath(destination);
    return true;
  }
  file_log::warn("-[VaspSecureFileHandler copyAndEncryptFileWithFullPath:toDestFullPath:]",
                 "Cant writeToFile encrypted: %@", failure);
  return false;
}

}  // namespace kelm
