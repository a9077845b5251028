#include "kelm/crypto/vasp_pbkdf2.h"

#include <openssl/err.h>
#include <openssl/evp.h>

#include <limits>

#include "kelm/base/wipe.h"
#include "kelm/crypto/vasp_crypto_utils.h"
#include "kelm/logging/vasp_logger.h"

namespace kelm {

namespace {

constexpr std::uint32_t kMostBytes = 4096;
constexpr std::uint32_t kMostRounds = 100000000;

template <class... Arguments>
std::nullopt_t fail(const char* origin, FormatString<std::type_identity_t<Arguments>...> format,
                    const Arguments&... arguments) {
  VaspLogger::logwithLevel_aspect_from_message<Arguments...>(
      log_level::kFatal, log_aspect::kFrontend | log_aspect::kInternal, origin, format,
      arguments...);
  return std::nullopt;
}

/// Fills `key`; the status is 0 for success.
int derive(DataView password, DataView salt, std::uint32_t rounds, Data& key) {
  constexpr std::size_t kMost = std::numeric_limits<int>::max();  // OpenSSL counts in int
  if (password.size() > kMost || salt.size() > kMost) return -1;
  static const EVP_MD* const kSha256 = EVP_MD_fetch(nullptr, "SHA256", nullptr);
  if (kSha256 != nullptr &&
      PKCS5_PBKDF2_HMAC(reinterpret_cast<const char*>(password.data()),
                        static_cast<int>(password.size()), salt.data(),
                        static_cast<int>(salt.size()), static_cast<int>(rounds), kSha256,
                        static_cast<int>(key.size()), key.data()) == 1)
    return 0;
  const int reason = ERR_GET_REASON(ERR_peek_last_error());
  ERR_clear_error();
  return reason != 0 ? reason : -1;
}

}  // namespace

std::optional<Data> VaspPBKDF2::pbkdf2OfPasswordData_withSalt_expectingSize_performingRound(
    std::optional<DataView> password, std::optional<DataView> salt, std::uint32_t size,
    std::uint32_t rounds) {
  constexpr const char* kOrigin =
      "+[VaspPBKDF2 pbkdf2OfPasswordData:withSalt:expectingSize:performingRound:]";
  if (!password || password->empty())
    return fail(kOrigin, "PBKDF2 Error: Unable to get a data from password!");
  if (size > kMostBytes) return fail(kOrigin, "PBKDF2 Error: requested size too large!");
  if (rounds < 1 || rounds > kMostRounds)
    return fail(kOrigin, "PBKDF2 Error: requested round count invalid");
  if (!salt || salt->empty()) return fail(kOrigin, "PBKDF2 Error: salt lenght is zero");
  Data key(size);
  const int status = derive(*password, *salt, rounds, key);
  if (status != 0)
    return fail(kOrigin, "PBKDF2 Error: %d performing PBDF2 from source params", status);
  return key;
}

std::optional<Data> VaspPBKDF2::pbkdf2OfPassword_withSalt_expectingSize_performingRound(
    std::optional<std::string_view> password, std::optional<DataView> salt, std::uint32_t size,
    std::uint32_t rounds) {
  if (!password || password->empty() || !salt || salt->empty())
    return fail("+[VaspPBKDF2 pbkdf2OfPassword:withSalt:expectingSize:performingRound:]",
                "PBKDF2 Error: (password || salt) lenght is zero");
  return pbkdf2OfPasswordData_withSalt_expectingSize_performingRound(bytesOf(*password), salt, size,
                                                                     rounds);
}

std::optional<Data>
VaspPBKDF2::pbkdf2OfPasswordDataCastingToHexadecimal_withSalt_expectingSize_performingRound(
    std::optional<DataView> password, std::optional<DataView> salt, std::uint32_t size,
    std::uint32_t rounds) {
  std::string text = VaspCryptoUtils::hexadecimalStringOfData(password);
  if (text.empty()) return std::nullopt;
  std::optional<Data> key =
      pbkdf2OfPassword_withSalt_expectingSize_performingRound(text, salt, size, rounds);
  wipe(text);
  return key;
}

}  // namespace kelm
