#pragma once

#include <exception>
#include <string>

#include "kelm/platform/console.h"

// Tells of exceptions that nobody is left to catch.
namespace kelm::platform {

/// In a catch block: the exception as "%@" prints it; "unknown exception" for one that is no
/// std::exception.
KELM_API std::string describeCurrentException();

/// In a catch block: writes "LOG ERROR %@" with the exception to the console.
inline void reportException() noexcept {
  try {
    current<Console>()->writeLine("LOG ERROR " + describeCurrentException());
  } catch (...) {  // NOLINT(bugprone-empty-catch): nobody is left to be told
  }
}

/// Runs code of the host where nobody could catch what it throws; reports that.
template <class Code>
void runReporting(const Code& code) noexcept {
  try {
    code();
  } catch (...) {
    reportException();
  }
}

}  // namespace kelm::platform
