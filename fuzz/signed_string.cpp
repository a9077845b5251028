// link: kelm_crypto
// Signed strings. Input: six lines, the certificate, both halves of the salt, the signature, the
// text and the checksum; all but the text in Base64, an empty one is absent. The seeds hold one
// text with its checksum: no other comes into being, and what ends a making is one of its checks.

#include <optional>

#include "fuzz/support/silence.h"
#include "fuzz/support/target.h"
#include "kelm/base/error.h"
#include "kelm/crypto/vasp_base64.h"
#include "kelm/crypto/vasp_signed_string.h"

void kelm::fuzz::run(DataView input) {
  silenceLog();
  std::string_view rest = textOf(input);
  const auto next = [&] {
    const std::string_view line = takeLine(rest);
    return line.empty() ? std::nullopt : std::optional(line);
  };
  VaspSignedString::setCers(next());
  VaspSignedString::setCK1(VaspBase64::dataOfBase64String(next()));
  VaspSignedString::setCK2(VaspBase64::dataOfBase64String(next()));
  VaspSignedString::setCKS(VaspBase64::dataOfBase64String(next()));
  const auto text = next();
  const auto checksum = next();
  try {
    const auto made = VaspSignedString::initWithString_checksum(text, checksum);
    require(made.text() == "https://pay.example/" && made.length() == made.text().size());
    require(made.characterAtIndex(made.length()) == 0);
  } catch (const Exception& exception) {
    require(std::string_view(exception.reason()).starts_with("Antitampering check failed ("));
  }
}
