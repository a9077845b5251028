#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace terminal {

/// What the cashier sees. On a terminal the progress bar is redrawn in place, in colour unless
/// NO_COLOR is set; elsewhere it prints a line at every quarter.
class Screen {
 public:
  Screen();

  void say(std::string_view text);
  void warn(std::string_view text);
  /// A progress bar under the name `what`; complete when `done` reaches `total`.
  void progress(std::string_view what, std::size_t done, std::size_t total);
  /// Ends a bar that did not complete, so that text can follow.
  void endProgress();

  bool interactive() const { return interactive_; }

 private:
  void line(std::string_view text, const char* colour);

  bool interactive_;
  bool colour_;
  bool barOpen_ = false;
  std::size_t lastQuarter_ = 0;
};

}  // namespace terminal
