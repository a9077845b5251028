// link: kelm_crypto
// Signed strings. Input: six lines, the certificate, both halves of the salt, the signature, the
// text and the checksum; all but the text in Base64, an empty one is absent.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "fuzz/support/silence.h"
#include "kelm/base/error.h"
#include "kelm/crypto/vasp_base64.h"
#include "kelm/crypto/vasp_signed_string.h"

namespace {

using namespace kelm;

std::optional<std::string_view> takeLine(std::string_view& rest) {
  const std::string_view line = rest.substr(0, rest.find('\n'));
  rest.remove_prefix(std::min(rest.size(), line.size() + 1));
  return line.empty() ? std::nullopt : std::optional(line);
}

}  // namespace

/// The seeds hold one text with its checksum: no other comes into being, and what ends a making is
/// one of its checks.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  fuzz::silenceLog();
  std::string_view rest = textOf(DataView(bytes, size));
  VaspSignedString::setCers(takeLine(rest));
  VaspSignedString::setCK1(VaspBase64::dataOfBase64String(takeLine(rest)));
  VaspSignedString::setCK2(VaspBase64::dataOfBase64String(takeLine(rest)));
  VaspSignedString::setCKS(VaspBase64::dataOfBase64String(takeLine(rest)));
  const auto text = takeLine(rest);
  const auto checksum = takeLine(rest);
  try {
    const auto made = VaspSignedString::initWithString_checksum(text, checksum);
    if (made.text() != "https://pay.example/" || made.length() != made.text().size()) std::abort();
    if (made.characterAtIndex(made.length()) != 0) std::abort();
  } catch (const Exception& exception) {
    if (!std::string_view(exception.reason()).starts_with("Antitampering check failed ("))
      std::abort();
  }
  return 0;
}
