// link: kelm_crypto
// Any text: encoding keeps to its alphabet and comes back; decoding gives UTF-8 or nothing.

#include <cstdlib>

#include "kelm/base/data.h"
#include "kelm/base/utf16.h"
#include "kelm/crypto/zu_string_encoder.h"

using kelm::ZuStringEncoder;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string_view text = kelm::textOf({bytes, size});
  const auto encoded = ZuStringEncoder::urlEncodeString(text);
  constexpr std::string_view kAlphabet =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.*%";
  if (encoded->find_first_not_of(kAlphabet) != std::string::npos) std::abort();
  const bool isText = kelm::isValidUtf8(text);
  const auto back = ZuStringEncoder::urlDecodeString(encoded);
  if (isText ? back != text : back.has_value()) std::abort();

  std::string form = *ZuStringEncoder::urlEncodeStringFormBody(text);
  for (std::size_t at = 0; (at = form.find('+', at)) != std::string::npos;)
    form.replace(at, 1, "%20");
  if (form != encoded) std::abort();

  const auto decoded = ZuStringEncoder::urlDecodeString(text);
  if (decoded && (decoded->size() > size || !kelm::isValidUtf8(*decoded))) std::abort();
  return 0;
}
