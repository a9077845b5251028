#include "kelm/platform/linux/device/small_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>

namespace kelm::platform {

namespace {

constexpr std::size_t kLargest = 1 << 16;

std::string trimmed(const std::string& text) {
  const std::size_t from = text.find_first_not_of(" \t");
  return from == text.npos ? "" : text.substr(from, text.find_last_not_of(" \t") - from + 1);
}

}  // namespace

std::optional<std::string> readSmallFile(const std::string& path) {
  // O_NONBLOCK: a pipe in its place must not hold us up.
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (file < 0) return std::nullopt;
  std::string text;
  std::array<char, 4096> piece;
  ssize_t size = 0;
  while (text.size() < kLargest && (size = read(file, piece.data(), piece.size())) > 0)
    text.append(piece.data(), static_cast<std::size_t>(size));
  close(file);
  if (size < 0) return std::nullopt;
  return text;
}

std::optional<std::string> readFirstLine(const std::string& path) {
  const std::optional<std::string> text = readSmallFile(path);
  if (!text) return std::nullopt;
  std::string line = trimmed(text->substr(0, text->find_first_of(std::string("\n\0", 2))));
  if (line.empty()) return std::nullopt;
  return line;
}

std::optional<std::string> assignedValue(const std::string& text, const std::string& key) {
  const std::string start = key + '=';
  std::size_t at = 0;
  while (text.compare(at, start.size(), start) != 0) {
    at = text.find('\n', at);
    if (at == text.npos) return std::nullopt;
    ++at;
  }
  at += start.size();
  std::string value = trimmed(text.substr(at, text.find('\n', at) - at));
  const bool isQuoted = value.size() >= 2 && value.front() == value.back() &&
                        (value.front() == '"' || value.front() == '\'');
  if (isQuoted) value = value.substr(1, value.size() - 2);
  if (value.empty()) return std::nullopt;
  return value;
}

}  // namespace kelm::platform
