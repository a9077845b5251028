#include "kelm/logging/text_buffer.h"

#include <cstddef>

namespace kelm::logging {

namespace {

constexpr std::size_t kMostKeptBytes = 16 * 1024;

/// Free to be used; absent while it is in use, before the first use and after the last.
thread_local std::string* spare = nullptr;
thread_local bool ended = false;

struct Kept {
  std::string text;

  Kept() = default;
  Kept(const Kept&) = delete;
  Kept& operator=(const Kept&) = delete;
  ~Kept() {
    spare = nullptr;
    ended = true;
  }
};

thread_local bool begun = false;

void begin() {
  begun = true;
  static thread_local Kept kept;
  spare = &kept.text;
}

}  // namespace

TextBuffer::TextBuffer() : text_(&own_) {
  if (!begun) begin();
  if (spare == nullptr) return;
  text_ = spare;
  spare = nullptr;
}

TextBuffer::~TextBuffer() {
  if (text_ == &own_ || ended) return;
  text_->clear();
  if (text_->capacity() > kMostKeptBytes) text_->shrink_to_fit();
  spare = text_;
}

}  // namespace kelm::logging
