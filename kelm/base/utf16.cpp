#include "kelm/base/utf16.h"

#include <algorithm>

#include "kelm/base/utf8.h"

namespace kelm {
namespace {

/// A place in UTF-8 text that knows how many UTF-16 units lie before it.
struct Cursor {
  std::string_view text;
  std::size_t byte = 0;
  std::size_t unit = 0;

  bool atEnd() const { return byte == text.size(); }

  /// Moves on to unit `target`, or to the start of the pair that it cuts, or to the end.
  void advanceTo(std::size_t target) {
    while (unit < target && !atEnd()) {
      const std::size_t run = asciiRun(text.substr(0, clampedEnd(target)), byte);
      byte += run;
      unit += run;
      if (unit == target || atEnd()) return;
      const std::size_t length = sequenceLength(text, byte);
      const std::size_t units = length == 4 ? 2 : 1;
      if (unit + units > target) return;
      byte += length == 0 ? 1 : length;
      unit += units;
    }
  }

 private:
  /// No byte past this one can be needed to reach `target`.
  std::size_t clampedEnd(std::size_t target) const {
    const std::size_t wanted = target - unit;
    return text.size() - byte > wanted ? byte + wanted : text.size();
  }
};

}  // namespace

std::size_t utf16Length(std::string_view utf8) {
  Cursor cursor{utf8};
  cursor.advanceTo(utf8.size());  // a byte never makes more than one unit
  return cursor.unit;
}

std::string utf16Substring(std::string_view utf8, std::size_t location, std::size_t length) {
  const std::size_t end =
      length > utf8.size() - std::min(location, utf8.size()) ? utf8.size() : location + length;
  Cursor cursor{utf8};
  cursor.advanceTo(location);
  std::string out;
  if (cursor.atEnd() || location >= end) return out;
  if (cursor.unit < location) {  // in the middle of a pair
    out = kReplacement;
    cursor.byte += 4;
    cursor.unit += 2;
  }
  const std::size_t start = cursor.byte;
  cursor.advanceTo(end);
  out += repairedUtf8(utf8.substr(start, cursor.byte - start));
  if (cursor.unit < end && !cursor.atEnd()) out += kReplacement;
  return out;
}

std::size_t utf16ByteOffset(std::string_view utf8, std::size_t location) {
  Cursor cursor{utf8};
  cursor.advanceTo(location);
  return cursor.byte;
}

bool isAscii(std::string_view text) {
  for (std::size_t at = asciiRun(text, 0); at < text.size(); ++at)
    if (static_cast<unsigned char>(text[at]) >= 0x80) return false;
  return true;
}

bool isValidUtf8(std::string_view text) {
  for (std::size_t at = asciiRun(text, 0); at < text.size(); at += asciiRun(text, at)) {
    const std::size_t length = sequenceLength(text, at);
    if (length == 0) return false;
    at += length;
  }
  return true;
}

std::string repairedUtf8(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  std::size_t sound = 0;  // start of what is not copied yet
  for (std::size_t at = asciiRun(text, 0); at < text.size();) {
    const std::size_t length = sequenceLength(text, at);
    if (length == 0) {
      out.append(text, sound, at - sound).append(kReplacement);
      sound = at + 1;
    }
    at += length == 0 ? 1 : length;
    at += asciiRun(text, at);
  }
  return out.append(text, sound);
}

}  // namespace kelm
