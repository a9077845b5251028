#pragma once

#include <iosfwd>
#include <span>
#include <string_view>

#include "tools/seal/inputs.h"

namespace kelm::seal {

/// One thing that the tool does. Results go to `out`, remarks for the user to `remarks`; a Problem
/// or WrongUse ends it.
struct Command {
  std::string_view name;
  std::string_view options;  ///< as the help shows them
  std::string_view purpose;
  void (*run)(const Options& options, std::ostream& out, std::ostream& remarks);
};

std::span<const Command> commands();

}  // namespace kelm::seal
