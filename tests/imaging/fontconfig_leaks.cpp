#include "kelm/base/export.h"

// Fontconfig links its patterns by offsets, which the leak checker cannot follow.
// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" KELM_API const char* __lsan_default_suppressions();
// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" const char* __lsan_default_suppressions() { return "leak:libfontconfig.so\n"; }
