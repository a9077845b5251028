// link: kelm_crypto
// Any text: skipping what is foreign, checking the padding and decoding by the letter gives the
// same; and what was decoded encodes and decodes again.

#include "fuzz/support/target.h"
#include "kelm/crypto/vasp_base64.h"

namespace kelm::fuzz {

static std::optional<Data> reference(std::string_view text) {
  constexpr std::string_view kLetters =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string kept;
  for (const char c : text)
    if (c == '=' || kLetters.find(c) != std::string_view::npos) kept += c;
  const std::size_t letters = std::min(kept.find('='), kept.size());
  const std::size_t padding = kept.size() - letters;
  if (kept.size() % 4 != 0 || padding > 2 || kept.find_first_not_of('=', letters) != kept.npos)
    return std::nullopt;
  Data bytes;
  unsigned bits = 0;
  for (std::size_t i = 0; i < letters; ++i) {
    bits = bits << 6 | static_cast<unsigned>(kLetters.find(kept[i]));
    if (i % 4 != 0) bytes.push_back(static_cast<std::uint8_t>(bits >> (6 - i % 4 * 2)));
  }
  return bytes;
}

void run(DataView input) {
  if (input.empty()) return;  // is logged
  require(VaspBase64::dataOfBase64String(textOf(input)) == reference(textOf(input)));
  const std::string text = VaspBase64::base64OfData(input);
  require(VaspBase64::dataOfBase64String(text) == Data(input.begin(), input.end()));
  const auto urlSafe = VaspBase64::base64StringToUrlSafeBase64String(text);
  require(VaspBase64::urlSafeBase64StringToBase64String(urlSafe) == text);
}

}  // namespace kelm::fuzz
