#pragma once

#include <chrono>
#include <string>

#include "kelm/base/result.h"
#include "kelm/base/value.h"
#include "kelm/platform/dispatch.h"

namespace kelm::platform {

/// A method without arguments of an object on the system bus.
struct BusCall {
  std::string destination;
  std::string path;
  std::string interface;
  std::string method;
};

/// Connects, calls and waits for the answer, all within `limit`, a bus that never answers included.
/// The first value of the answer; `Null` when it has none. Arrays of entries are dictionaries,
/// their keys as text; other arrays and structures are lists. Starts no service that does not run.
/// An error in the domain "posix" if there is no bus, no such service, no answer in time or an
/// answer that is malformed or nests deeper than 64 levels. Loads libsystemd at the first call. Any
/// thread.
Result<Value> callSystemBus(const BusCall& call, Duration limit);

}  // namespace kelm::platform
