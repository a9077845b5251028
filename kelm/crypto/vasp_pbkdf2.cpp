#include "kelm/crypto/vasp_pbkdf2.h"

#include <nettle/pbkdf2.h>

#include <algorithm>

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

/// What the longest inputs that are derived from have less of.
constexpr std::size_t kTooManyInputBytes = std::size_t{1} << 31;
constexpr int kRefusedStatus = -1;

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
  // RFC 8018 derives at least one byte.
  if (size == 0 || std::max(password->size(), salt->size()) >= kTooManyInputBytes)
    return fail(kOrigin, "PBKDF2 Error: %d performing PBDF2 from source params", kRefusedStatus);
  Data key(size);
  // nettle keeps what HMAC makes of the password; OpenSSL 3.0 copies contexts each round, which
  // takes more than twice as long.
  pbkdf2_hmac_sha256(password->size(), password->data(), rounds, salt->size(), salt->data(), size,
                     key.data());
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
