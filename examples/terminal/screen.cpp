#include "terminal/screen.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "kelm/base/format.h"

namespace terminal {

namespace {
constexpr std::size_t kBarWidth = 32;
constexpr const char* kPlain = "";
constexpr const char* kYellow = "\033[33m";
constexpr const char* kGreen = "\033[32m";
}  // namespace

Screen::Screen() : interactive_(isatty(STDOUT_FILENO) == 1) {
  const char* noColour = std::getenv("NO_COLOR");
  colour_ = interactive_ && (noColour == nullptr || *noColour == '\0');
}

void Screen::say(std::string_view text) { line(text, kPlain); }
void Screen::warn(std::string_view text) { line(text, kYellow); }

void Screen::progress(std::string_view what, std::size_t done, std::size_t total) {
  if (total == 0) return;
  const std::size_t filled = done * kBarWidth / total;
  const std::string bar = kelm::format("%@ [%@%@] %@/%@", what, std::string(filled, '#'),
                                       std::string(kBarWidth - filled, '.'), done, total);
  if (interactive_) {
    std::printf("\r%s%s%s\033[K", colour_ ? kGreen : "", bar.c_str(), colour_ ? "\033[0m" : "");
    barOpen_ = true;
    if (done >= total) endProgress();
  } else if (const std::size_t quarter = done * 4 / total; quarter != lastQuarter_) {
    lastQuarter_ = done >= total ? 0 : quarter;
    std::printf("%s\n", bar.c_str());
  }
  std::fflush(stdout);
}

void Screen::endProgress() {
  if (barOpen_) std::printf("\n");
  barOpen_ = false;
  lastQuarter_ = 0;
  std::fflush(stdout);
}

void Screen::line(std::string_view text, const char* colour) {
  endProgress();
  const bool coloured = colour_ && *colour != '\0';
  std::printf("%s%.*s%s\n", coloured ? colour : "", static_cast<int>(text.size()), text.data(),
              coloured ? "\033[0m" : "");
  std::fflush(stdout);
}

}  // namespace terminal
