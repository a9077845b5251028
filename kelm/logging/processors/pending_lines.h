#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "kelm/base/data.h"

namespace kelm::logging {

/// Lines that wait to be written, oldest first. Removing the first one removes all that are equal
/// to it at that moment; those behind it are only marked, so that nothing is searched. Not
/// thread-safe.
class PendingLines {
 public:
  /// The most bytes that wait; when a line more comes the oldest go, but for one that is written in
  /// part. Absent: no bound.
  void setBound(std::optional<std::size_t> bytes) { bound_ = bytes; }

  void add(DataView line);
  bool isEmpty() const { return lines_.empty(); }
  std::size_t bytes() const { return bytes_; }
  /// Puts a line in front that says how many were dropped, if any were.
  void tellDropped();
  /// The first lines, each once: as far as they can be removed one by one in that order.
  std::vector<DataView> first(std::size_t most) const;
  /// Takes bytes off the front, as they were written: whole lines are removed, the rest of a line
  /// that was written in part stays in front.
  void removeWritten(std::size_t count);
  /// Removes the first line and all that are equal to it.
  Data takeFirst();

 private:
  struct Line {
    Data bytes;
    std::size_t hash = 0;
    std::uint64_t number = 0;
  };
  /// Lines of one hash.
  struct Group {
    std::size_t count = 0;
    std::uint64_t goneUpTo = 0;  ///< equal to `gone` and of this number at most: removed
    Data gone;
  };

  void insert(std::deque<Line>::iterator place, Data bytes, std::uint64_t number);
  void enter(Line& line);
  void leave(const Line& line);
  bool isGone(const Line& line) const;
  void dropOldest();

  std::deque<Line> lines_;  ///< the first one is never gone
  std::unordered_map<std::size_t, Group> groups_;
  std::uint64_t nextNumber_ = 1;
  std::size_t bytes_ = 0;
  bool firstIsCut_ = false;
  std::optional<std::size_t> bound_;
  std::uint64_t dropped_ = 0;
};

}  // namespace kelm::logging
