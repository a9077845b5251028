// link: kelm_validation
// Two versions, a line each: they keep their texts, and their order is one.

#include <string>

#include "fuzz/support/target.h"
#include "kelm/base/error.h"
#include "kelm/validation/ed_semver.h"

namespace kelm::fuzz {

static void checkOrder(const EDSemver& a, const EDSemver& b) {
  const int order = a.compare(&b);
  require(order == -b.compare(&a) && a.compare(&a) == 0);
  require(a.isEqualTo(&b) == (order == 0) && a.isLessThan(&b) == (order < 0));
  if (a.prerelease().empty() == b.prerelease().empty() && a.major() == b.major() &&
      a.minor() == b.minor() && a.patch() == b.patch())
    require((order == 0) == (a.prerelease() == b.prerelease()));
}

void run(DataView input) {
  const std::string_view text = textOf(input);
  const std::size_t cut = text.find('\n');
  const std::string_view first = text.substr(0, cut);
  const std::string_view second = cut == text.npos ? first : text.substr(cut + 1);
  try {
    const EDSemver a = EDSemver::semverWithString(first);
    const EDSemver b = EDSemver::semverWithString(second);
    require(a.original() == first && a.version().size() >= 5 && a.isValid() == a.check());
    if (a.isValid() && b.isValid()) checkOrder(a, b);
  } catch (const Exception&) {
    const auto isBlank = [](std::string_view line) {
      return !line.empty() && line.find_first_not_of(' ') == line.npos;
    };
    require(isBlank(first) || isBlank(second));
  }
}

}  // namespace kelm::fuzz
