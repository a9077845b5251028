#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace kelm::internal {

/// One conversion of a format: "%[n$][flags][width][.precision][length]letter".
struct FormatConversion {
  static constexpr int kNone = -1;
  static constexpr int kArgument = -2;  ///< "*": the value comes from an argument
  static constexpr int kMost = 4096;    ///< widths and precisions are capped here

  std::size_t end = 0;  ///< behind the last character
  char letter = 0;      ///< 0 when the conversion is cut or its letter is unknown
  int position = 0;     ///< of the argument, from 1 on; 0: the next one
  int width = kNone;
  int widthPosition = 0;
  int precision = kNone;
  int precisionPosition = 0;
  bool left = false;
  bool zero = false;
  bool plus = false;
  bool blank = false;
  bool alternate = false;
  std::string_view length;
};

/// Reads conversions; usable while compiling.
class FormatReader {
 public:
  constexpr FormatReader(std::string_view format, std::size_t at) : format_(format), at_(at) {}

  /// The conversion whose "%" stands just before `at`.
  constexpr FormatConversion read() {
    FormatConversion c;
    const std::size_t start = at_;
    const int number = readNumber();
    if (number > 0 && take('$'))
      c.position = number;
    else
      at_ = start;
    readFlags(c);
    c.width = readSize(c.widthPosition);
    if (take('.')) {
      c.precision = readSize(c.precisionPosition);
      if (c.precision == FormatConversion::kNone) c.precision = 0;
    }
    const std::size_t lengthStart = at_;
    while (at_ < format_.size() && isOneOf(format_[at_], "hlqjztL"))
      ++at_;
    c.length = format_.substr(lengthStart, at_ - lengthStart);
    if (at_ < format_.size() && isOneOf(format_[at_], "%@diuxXocspfFeEgGaAn")) {
      c.letter = format_[at_++];
    }
    c.end = at_;
    return c;
  }

  static constexpr bool isOneOf(char c, std::string_view set) {
    return set.find(c) != std::string_view::npos;
  }

 private:
  constexpr bool take(char c) {
    if (at_ >= format_.size() || format_[at_] != c) return false;
    ++at_;
    return true;
  }
  constexpr int readNumber() {
    int number = 0;
    bool any = false;
    for (; at_ < format_.size() && format_[at_] >= '0' && format_[at_] <= '9'; ++at_) {
      number = std::min(number * 10 + (format_[at_] - '0'), FormatConversion::kMost);
      any = true;
    }
    return any ? number : FormatConversion::kNone;
  }
  constexpr void readFlags(FormatConversion& c) {
    for (;; ++at_) {
      const char flag = at_ < format_.size() ? format_[at_] : 'x';
      if (flag == '-')
        c.left = true;
      else if (flag == '0')
        c.zero = true;
      else if (flag == '+')
        c.plus = true;
      else if (flag == ' ')
        c.blank = true;
      else if (flag == '#')
        c.alternate = true;
      else
        return;
    }
  }
  constexpr int readSize(int& position) {
    if (!take('*')) return readNumber();
    const std::size_t start = at_;
    const int number = readNumber();
    if (number > 0 && take('$'))
      position = number;
    else
      at_ = start;
    return FormatConversion::kArgument;
  }

  std::string_view format_;
  std::size_t at_;
};

}  // namespace kelm::internal
