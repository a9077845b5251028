#pragma once

#include <string>

namespace kelm::logging {

/// An empty text to format into, whose memory the calling thread keeps for the next one. While one
/// is in use, and while a thread is being taken down, another is a text of its own.
class TextBuffer {
 public:
  TextBuffer();
  ~TextBuffer();
  TextBuffer(const TextBuffer&) = delete;
  TextBuffer& operator=(const TextBuffer&) = delete;

  std::string& operator*() { return *text_; }
  std::string* operator->() { return text_; }

 private:
  std::string own_;
  std::string* text_;
};

}  // namespace kelm::logging
