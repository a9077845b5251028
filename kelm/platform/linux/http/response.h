#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "kelm/platform/http/url_session.h"

namespace kelm::platform::url_sessions {

/// The header lines of a response, collected in one buffer as they arrive (RFC 9112, section 2).
class ResponseHead {
 public:
  void clear();
  /// Takes one line. The status line after an interim answer starts anew, a folded line goes on
  /// with the one before it, and trailers, which come after the head, are dropped. False when the
  /// head is too large to be one, or its lengths contradict each other.
  bool addLine(std::string_view line);
  /// True once a status line came.
  bool present() const { return !text_.empty(); }
  /// True once its empty line came.
  bool complete() const { return complete_; }
  /// Equal names joined by ", ".
  Dictionary fields() const;
  /// The values of one field, whole, in order.
  std::vector<std::string_view> values(std::string_view name) const;

 private:
  template <class Visitor>
  void forEachField(const Visitor& visit) const;
  bool isInterim() const;
  bool hasClearLength() const;

  std::string text_;
  std::size_t lines_ = 0;
  bool complete_ = false;
};

}  // namespace kelm::platform::url_sessions
