#pragma once

#include <concepts>
#include <optional>
#include <string_view>

#include "kelm/base/value.h"

namespace kelm {

/// A module whose state can be dumped for a support case: `dumpWithOption:` is an operation of
/// the class, so this is a requirement on a type and not a base class.
template <class Module>
concept KelmDumpableModuleProtocol = requires(std::optional<std::string_view> option) {
  { Module::dumpWithOption(option) } -> std::same_as<Dictionary>;
};

}  // namespace kelm
