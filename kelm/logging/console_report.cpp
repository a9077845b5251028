#include "kelm/logging/console_report.h"

#include <exception>
#include <string>

#include "kelm/base/format.h"
#include "kelm/logging/call_stack.h"
#include "kelm/platform/console.h"
#include "kelm/platform/platform.h"

namespace kelm::logging {

namespace {

std::string currentException() {
  try {
    throw;
  } catch (const std::exception& exception) {
    return describe(exception);
  } catch (...) {
    return "unknown exception";
  }
}

void report(bool withStack) noexcept {
  try {
    platform::Console& console = *platform::Platform::current().console;
    console.writeLine(format("LOG ERROR %@", currentException()));
    if (withStack) console.writeLine(format("%@", callStackSymbols()));
  } catch (...) {  // NOLINT(bugprone-empty-catch): nobody is left to be told
  }
}

}  // namespace

void reportException() noexcept { report(false); }
void reportExceptionWithStack() noexcept { report(true); }

}  // namespace kelm::logging
