#include "kelm/validation/strings/text_size.h"

#include "kelm/base/format.h"

namespace kelm {

std::string describe(const Size& size) { return format("{%@, %@}", size.width, size.height); }

std::string describe(const Font& font) {
  return format("<Font: %@; size: %@>", font.name, font.size);
}

}  // namespace kelm
