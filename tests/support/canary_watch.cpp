#include <gtest/gtest.h>

#include "kelm/testing/log_capture.h"
#include "tests/support/canary.h"

namespace kelm::testing {
namespace {

const bool isWatching = [] {
  LogCapture::watch([](std::string_view message) {
    if (showsCanary(message)) ADD_FAILURE() << "a line of the log shows a secret: " << message;
  });
  return true;
}();

}  // namespace
}  // namespace kelm::testing
