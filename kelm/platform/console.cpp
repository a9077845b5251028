#include "kelm/platform/console.h"

#include "kelm/base/describe.h"
#include "kelm/platform/reporting.h"

namespace kelm::platform {

Slot<Console>& Console::slot() {
  static constinit Slot<Console> held;
  return held;
}

std::string describeCurrentException() {
  try {
    throw;
  } catch (const std::exception& exception) {
    return kelm::describe(exception);
  } catch (...) {
    return "unknown exception";
  }
}

}  // namespace kelm::platform
