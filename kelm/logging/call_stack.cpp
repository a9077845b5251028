#include "kelm/logging/call_stack.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <span>

#include "kelm/base/format.h"
#include "kelm/platform/process.h"
#include "kelm/platform/reporting.h"

namespace kelm::logging {

namespace {

constexpr std::size_t kIndexWidth = 4;
/// Room for the frames of the logger itself, and of tools that wrap the capture.
constexpr std::size_t kOwnFrames = 14;

void appendIndex(std::string& out, std::size_t index) {
  std::array<char, 24> digits;
  const char* const end = std::to_chars(digits.data(), digits.data() + digits.size(), index).ptr;
  const auto size = static_cast<std::size_t>(end - digits.data());
  out.append(digits.data(), size).append(size < kIndexWidth ? kIndexWidth - size : 1, ' ');
}

/// The frames from the one at `caller` on; all but the innermost when it is not among them.
std::span<void*> framesFrom(std::span<void*> frames, const void* caller) {
  const auto place = std::find(frames.begin(), frames.end(), caller);
  const auto own = place != frames.end() ? place - frames.begin() : !frames.empty();
  return frames.subspan(static_cast<std::size_t>(own));
}

void appendLines(std::string& out, std::span<void*> frames, std::size_t mostLines) {
  std::size_t index = 1;
  platform::describeFrames(frames.first(std::min(frames.size(), mostLines)),
                           [&](std::string_view frame) {
                             appendIndex(out, index++);
                             out.append(frame).push_back('\n');
                           });
}

std::vector<void*> wholeCallStack() {
  std::vector<void*> frames(128);
  std::size_t count = platform::captureCallStack(frames);
  while (count == frames.size()) {
    frames.resize(frames.size() * 2);
    count = platform::captureCallStack(frames);
  }
  frames.resize(count);
  return frames;
}

}  // namespace

void appendCallStack(std::string& out, const void* caller, std::size_t mostLines) {
  constexpr std::size_t kUsual = 50;
  if (mostLines <= kUsual) {
    std::array<void*, kUsual + kOwnFrames> frames;
    const std::size_t count = platform::captureCallStack(frames);
    appendLines(out, framesFrom(std::span(frames).first(count), caller), mostLines);
  } else {
    std::vector<void*> frames = wholeCallStack();
    appendLines(out, framesFrom(frames, caller), mostLines);
  }
}

std::vector<std::string> callStackSymbols() {
  std::vector<void*> frames = wholeCallStack();
  std::vector<std::string> lines;
  platform::describeFrames(framesFrom(frames, __builtin_return_address(0)),
                           [&](std::string_view frame) {
                             std::string line;
                             appendIndex(line, lines.size());
                             lines.push_back(line.append(frame));
                           });
  return lines;
}

void reportExceptionWithStack() noexcept {
  platform::reportException();
  try {
    platform::current<platform::Console>()->writeLine(kelm::format("%@", callStackSymbols()));
  } catch (...) {  // NOLINT(bugprone-empty-catch): nobody is left to be told
  }
}

}  // namespace kelm::logging
