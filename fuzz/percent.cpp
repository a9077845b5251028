// link: kelm_crypto
// Any text: encoding keeps to its alphabet and comes back; decoding gives UTF-8 or nothing.

#include "fuzz/support/target.h"
#include "kelm/base/utf16.h"
#include "kelm/crypto/zu_string_encoder.h"

void kelm::fuzz::run(DataView input) {
  const std::string_view text = textOf(input);
  const auto encoded = ZuStringEncoder::urlEncodeString(text);
  require(encoded->find_first_not_of(
              "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.*%") ==
          std::string::npos);
  const auto back = ZuStringEncoder::urlDecodeString(encoded);
  require(isValidUtf8(text) ? back == text : !back);

  std::string form = *ZuStringEncoder::urlEncodeStringFormBody(text);
  for (std::size_t at = 0; (at = form.find('+', at)) != std::string::npos;)
    form.replace(at, 1, "%20");
  require(form == encoded);

  const auto decoded = ZuStringEncoder::urlDecodeString(text);
  require(!decoded || (decoded->size() <= text.size() && isValidUtf8(*decoded)));
}
