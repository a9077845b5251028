#include "kelm/crypto/vasp_aes.h"

#include <openssl/err.h>
#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <memory>

#include "kelm/base/wipe.h"
#include "kelm/logging/vasp_logger.h"

namespace kelm {

namespace {

constexpr LogAspect kAspects = log_aspect::kFrontend | log_aspect::kInternal;
constexpr const char* kOrigin = "+[VaspAES prvateAESOperation:withData:WithBytesKey:withBytesIV:]";
constexpr std::size_t kBlockBytes = 16;
constexpr std::size_t kPieceBytes = std::size_t{1} << 30;  // OpenSSL counts in int

/// The first `kSize` bytes of others, completed with zeros; wiped at the end.
template <std::size_t kSize>
class Completed {
 public:
  explicit Completed(DataView bytes) {
    std::copy_n(bytes.begin(), std::min(bytes.size(), kSize), bytes_.begin());
  }
  ~Completed() { wipe(bytes_); }
  Completed(const Completed&) = delete;
  Completed& operator=(const Completed&) = delete;

  const std::uint8_t* data() const { return bytes_.data(); }

 private:
  std::array<std::uint8_t, kSize> bytes_{};
};

struct FreeContext {
  void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
};

enum class KeySize { Bytes16, Bytes24, Bytes32 };

std::optional<KeySize> keySizeFor(std::size_t bytes) {
  if (bytes <= 16) return KeySize::Bytes16;
  if (bytes == 24) return KeySize::Bytes24;
  if (bytes == 32) return KeySize::Bytes32;
  return std::nullopt;
}

/// Fetched once: asking OpenSSL by name takes as long as encrypting 300 bytes.
const EVP_CIPHER* cipherFor(KeySize size) {
  static const std::array<const EVP_CIPHER*, 3> kCiphers = {
      EVP_CIPHER_fetch(nullptr, "AES-128-CBC", nullptr),
      EVP_CIPHER_fetch(nullptr, "AES-192-CBC", nullptr),
      EVP_CIPHER_fetch(nullptr, "AES-256-CBC", nullptr)};
  return kCiphers[static_cast<std::size_t>(size)];
}

std::optional<Data> run(std::uint32_t operation, DataView data, KeySize keySize, DataView key,
                        DataView iv) {
  const EVP_CIPHER* const cipher = cipherFor(keySize);
  // A context of its own for each call: freeing it wipes the key schedule.
  const std::unique_ptr<EVP_CIPHER_CTX, FreeContext> context(EVP_CIPHER_CTX_new());
  const Completed<32> wholeKey(key);
  const Completed<kBlockBytes> wholeIV(iv);
  if (operation > VaspAES::kDecrypt || cipher == nullptr || !context ||
      EVP_CipherInit_ex2(context.get(), cipher, wholeKey.data(), wholeIV.data(),
                         operation == VaspAES::kEncrypt ? 1 : 0, nullptr) != 1)
    return std::nullopt;
  // Filled with zeros first: that runs at cache speed, appending chunks measured slower.
  Data result(data.size() + kBlockBytes);
  std::size_t size = 0;
  int produced = 0;
  while (!data.empty()) {
    const DataView piece = data.first(std::min(data.size(), kPieceBytes));
    if (EVP_CipherUpdate(context.get(), result.data() + size, &produced, piece.data(),
                         static_cast<int>(piece.size())) != 1)
      return std::nullopt;
    size += static_cast<std::size_t>(produced);
    data = data.subspan(piece.size());
  }
  if (EVP_CipherFinal_ex(context.get(), result.data() + size, &produced) != 1) return std::nullopt;
  result.resize(size + static_cast<std::size_t>(produced));
  return result;
}

}  // namespace

std::optional<Data> VaspAES::aesEncryptData_WithBytesKey_withBytesIV(std::optional<DataView> data,
                                                                     std::optional<DataView> key,
                                                                     std::optional<DataView> iv) {
  return prvateAESOperation_withData_WithBytesKey_withBytesIV(kEncrypt, data, key, iv);
}

std::optional<Data> VaspAES::aesDecryptData_WithBytesKey_withBytesIV(std::optional<DataView> data,
                                                                     std::optional<DataView> key,
                                                                     std::optional<DataView> iv) {
  return prvateAESOperation_withData_WithBytesKey_withBytesIV(kDecrypt, data, key, iv);
}

std::optional<Data> VaspAES::prvateAESOperation_withData_WithBytesKey_withBytesIV(
    std::uint32_t operation, std::optional<DataView> data, std::optional<DataView> key,
    std::optional<DataView> iv) {
  const DataView keyBytes = key.value_or(DataView());
  const std::optional<KeySize> keySize = keySizeFor(keyBytes.size());
  if (!keySize) {
    VaspLogger::logwithLevel_aspect_from_message(
        log_level::kFatal, kAspects, kOrigin, "Error selecting AES key size (%@)", keyBytes.size());
    return std::nullopt;
  }
  std::optional<Data> result =
      run(operation, data.value_or(DataView()), *keySize, keyBytes, iv.value_or(DataView()));
  if (!result) {
    ERR_clear_error();
    VaspLogger::logwithLevel_aspect_from_message(log_level::kFatal, kAspects, kOrigin,
                                                 "AES Operation Error");
  }
  return result;
}

}  // namespace kelm
