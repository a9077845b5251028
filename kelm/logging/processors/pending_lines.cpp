#include "kelm/logging/processors/pending_lines.h"

#include <algorithm>
#include <functional>
#include <utility>

#include "kelm/base/format.h"

namespace kelm::logging {

void PendingLines::add(DataView line) {
  insert(lines_.end(), Data(line.begin(), line.end()), nextNumber_);
  ++nextNumber_;
  if (bound_) dropOldest();
}

void PendingLines::tellDropped() {
  if (dropped_ == 0) return;
  const std::string text = kelm::format("⚠️[WARN] [None] %llu log lines were dropped: no room",
                                        std::exchange(dropped_, 0));
  // Its number is that of the line behind it, or of the next one to come.
  insert(lines_.begin() + (firstIsCut_ ? 1 : 0), dataOf(text), nextNumber_++);
}

std::vector<DataView> PendingLines::first(std::size_t most) const {
  std::vector<DataView> result;
  for (const Line& line : lines_) {
    if (result.size() == most) break;
    if (isGone(line) && !result.empty()) continue;
    result.emplace_back(line.bytes);
    if (groups_.at(line.hash).count > 1) break;  // its equals go with it
  }
  return result;
}

void PendingLines::removeWritten(std::size_t count) {
  while (!lines_.empty() && count >= lines_.front().bytes.size()) {
    count -= lines_.front().bytes.size();
    takeFirst();
  }
  if (count == 0 || lines_.empty()) return;
  Line& line = lines_.front();
  leave(line);
  line.bytes.erase(line.bytes.begin(), line.bytes.begin() + static_cast<std::ptrdiff_t>(count));
  enter(line);
  firstIsCut_ = true;
}

Data PendingLines::takeFirst() {
  Line line = std::move(lines_.front());
  lines_.pop_front();
  firstIsCut_ = false;
  leave(line);
  if (const auto group = groups_.find(line.hash); group != groups_.end())
    group->second = {group->second.count, nextNumber_ - 1, line.bytes};
  while (!lines_.empty() && isGone(lines_.front())) {
    leave(lines_.front());
    lines_.pop_front();
  }
  return std::move(line.bytes);
}

void PendingLines::insert(std::deque<Line>::iterator place, Data bytes, std::uint64_t number) {
  Line line;
  line.bytes = std::move(bytes);
  line.number = number;
  enter(line);
  lines_.insert(place, std::move(line));
}

void PendingLines::enter(Line& line) {
  line.hash = std::hash<std::string_view>()(textOf(line.bytes));
  ++groups_[line.hash].count;
  bytes_ += line.bytes.size();
}

void PendingLines::leave(const Line& line) {
  bytes_ -= line.bytes.size();
  const auto group = groups_.find(line.hash);
  if (--group->second.count == 0) groups_.erase(group);
}

bool PendingLines::isGone(const Line& line) const {
  const Group& group = groups_.at(line.hash);
  return line.number <= group.goneUpTo && std::ranges::equal(line.bytes, group.gone);
}

void PendingLines::dropOldest() {
  const std::size_t kept = firstIsCut_ ? 1 : 0;
  while (bytes_ > *bound_ && lines_.size() > kept) {
    const auto oldest = lines_.begin() + static_cast<std::ptrdiff_t>(kept);
    dropped_ += isGone(*oldest) ? 0 : 1;
    leave(*oldest);
    lines_.erase(oldest);
  }
  while (!firstIsCut_ && !lines_.empty() && isGone(lines_.front())) {
    leave(lines_.front());
    lines_.pop_front();
  }
}

}  // namespace kelm::logging
