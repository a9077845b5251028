// link: kelm_validation
// Two versions, a line each: they keep their texts, and their order is one.

#include <cstdlib>
#include <string>

#include "kelm/base/data.h"
#include "kelm/base/error.h"
#include "kelm/validation/ed_semver.h"

using kelm::EDSemver;

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

void checkOrder(const EDSemver& a, const EDSemver& b) {
  const int order = a.compare(&b);
  require(order == -b.compare(&a));
  require(a.compare(&a) == 0);
  require(a.isEqualTo(&b) == (order == 0));
  require(a.isLessThan(&b) == (order < 0));
  if (a.prerelease().empty() == b.prerelease().empty() && a.major() == b.major() &&
      a.minor() == b.minor() && a.patch() == b.patch())
    require((order == 0) == (a.prerelease() == b.prerelease()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string_view text = kelm::textOf({bytes, size});
  const std::size_t cut = text.find('\n');
  const std::string_view first = text.substr(0, cut);
  const std::string_view second = cut == text.npos ? first : text.substr(cut + 1);
  try {
    const EDSemver a = EDSemver::semverWithString(first);
    const EDSemver b = EDSemver::semverWithString(second);
    require(a.original() == first && a.version().size() >= 5 && a.isValid() == a.check());
    if (a.isValid() && b.isValid()) checkOrder(a, b);
  } catch (const kelm::Exception&) {
    const auto isBlank = [](std::string_view line) {
      return !line.empty() && line.find_first_not_of(' ') == line.npos;
    };
    require(isBlank(first) || isBlank(second));
  }
  return 0;
}
