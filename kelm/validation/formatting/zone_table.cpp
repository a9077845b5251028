#include "kelm/validation/formatting/zone_table.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "kelm/base/civil_time.h"
#include "kelm/validation/formatting/posix_zone_rule.h"

namespace kelm {
namespace {

constexpr int kCycleYears = 400;
constexpr std::int64_t kCycleSeconds = 146097 * kSecondsPerDay;
/// No zone is further from GMT.
constexpr std::int32_t kMostOffset = 93599;
constexpr std::size_t kHeaderBytes = 44;

/// Numbers in network order from the front of bytes; zero once they are used up.
class Bytes {
 public:
  explicit Bytes(DataView bytes) : rest_(bytes) {}

  bool failed() const { return failed_; }
  DataView take(std::size_t count) {
    if (count > rest_.size()) {
      failed_ = true;
      return {};
    }
    const DataView taken = rest_.first(count);
    rest_ = rest_.subspan(count);
    return taken;
  }
  std::uint64_t number(std::size_t width) {
    std::uint64_t number = 0;
    for (const std::uint8_t byte : take(width))
      number = number << 8 | byte;
    return number;
  }
  std::string_view rest() const { return textOf(rest_); }

 private:
  DataView rest_;
  bool failed_ = false;
};

/// How many of each there are in a block of the file.
struct Header {
  std::size_t utIndicators, standardIndicators, leaps, times, types, characters;

  std::size_t blockBytes(std::size_t timeBytes) const {
    return times * (timeBytes + 1) + types * 6 + characters + leaps * (timeBytes + 4) +
           standardIndicators + utIndicators;
  }
};

std::optional<Header> header(Bytes& bytes) {
  Bytes own(bytes.take(kHeaderBytes));
  if (textOf(own.take(4)) != "TZif" || own.number(1) < '2') return {};
  own.take(15);
  Header header{};
  for (std::size_t* count : {&header.utIndicators, &header.standardIndicators, &header.leaps,
                             &header.times, &header.types, &header.characters})
    *count = own.number(4);
  if (own.failed() || header.types == 0) return {};
  return header;
}

struct Type {
  std::int32_t offset;
  bool isSummer;
};

/// The type before any transition and the one after each; absent when they are malformed.
std::optional<std::vector<Type>> typesFrom(Bytes& bytes, const Header& counts) {
  const DataView indices = bytes.take(counts.times);
  std::vector<Type> types;
  for (std::size_t i = 0; i < counts.types; ++i) {
    const auto offset = static_cast<std::int32_t>(static_cast<std::uint32_t>(bytes.number(4)));
    if (offset < -kMostOffset || offset > kMostOffset) return {};
    types.push_back({offset, bytes.number(1) != 0});
    bytes.take(1);
  }
  std::vector<Type> succession{types.front()};
  for (const std::uint8_t index : indices) {
    if (index >= types.size()) return {};
    succession.push_back(types[index]);
  }
  return succession;
}

/// The offsets of a succession of types. A summer time that lies behind the standard time, as
/// Ireland's winter does in the files, is taken for the standard time, and the other for summer.
std::vector<ZoneOffset> offsetsOf(const std::vector<Type>& types) {
  std::vector<ZoneOffset> offsets;
  offsets.reserve(types.size());
  for (const Type& type : types)
    offsets.push_back({type.offset, 0});
  const auto isStandard = [](const Type& type) { return !type.isSummer; };
  const auto first = std::find_if(types.begin(), types.end(), isStandard);
  if (first == types.end()) return offsets;
  auto standard = static_cast<std::size_t>(first - types.begin());  // the nearest one before
  for (std::size_t i = 0; i < types.size(); ++i) {
    if (isStandard(types[i])) {
      standard = i;
      continue;
    }
    const std::int32_t saving = types[i].offset - types[standard].offset;
    offsets[saving > 0 ? i : standard].saving = saving > 0 ? saving : -saving;
  }
  return offsets;
}

}  // namespace

std::optional<ZoneTable> ZoneTable::fromTzif(DataView file) {
  Bytes bytes(file);
  const auto old = header(bytes);  // of the block with 32-bit times
  if (!old) return {};
  bytes.take(old->blockBytes(4));
  const auto counts = header(bytes);
  if (!counts || bytes.failed() || counts->blockBytes(8) > bytes.rest().size()) return {};

  ZoneTable table;
  for (std::size_t i = 0; i < counts->times; ++i)
    table.transitions_.push_back({static_cast<std::int64_t>(bytes.number(8)), {}});
  const auto succession = typesFrom(bytes, *counts);
  if (!succession) return {};
  const std::vector<ZoneOffset> offsets = offsetsOf(*succession);
  table.first_ = offsets.front();
  for (std::size_t i = 0; i < counts->times; ++i) {
    table.transitions_[i].after = offsets[i + 1];
    if (i > 0 && table.transitions_[i].at <= table.transitions_[i - 1].at) return {};
  }
  bytes.take(counts->blockBytes(8) - counts->times * 9 - counts->types * 6);
  std::string_view rule = bytes.rest();
  if (!rule.starts_with('\n') || !rule.ends_with('\n') || rule.size() < 2) return {};
  rule = rule.substr(1, rule.size() - 2);
  if (!rule.empty() && !table.extend(rule)) return {};
  return table;
}

bool ZoneTable::extend(std::string_view text) {
  const auto rule = PosixZoneRule::fromText(text);
  if (!rule) return false;
  constexpr std::int64_t kFarPast = -10000000000;  // before every change of clocks
  const std::int64_t last =
      transitions_.empty() ? kFarPast : std::max(transitions_.back().at, kFarPast);
  if (last > -kFarPast) return false;
  if (!rule->summer) {
    if (at(last) != ZoneOffset{rule->offset, 0})
      transitions_.push_back({last + 1, {rule->offset, 0}});
    return true;
  }
  hasSummerTime_ = true;
  const PosixZoneRule::Summer& summer = *rule->summer;
  const std::int32_t saving = summer.offset - rule->offset;
  const ZoneOffset inSummer{summer.offset, std::max(saving, 0)};
  const ZoneOffset inWinter{rule->offset, std::max(-saving, 0)};
  const std::int64_t firstYear = std::max<std::int64_t>(civilTime(last).year, 1900);
  for (std::int64_t year = firstYear; year <= firstYear + kCycleYears + 1; ++year) {
    Transition changes[] = {{summer.begin.inYear(year) - rule->offset, inSummer},
                            {summer.end.inYear(year) - summer.offset, inWinter}};
    if (changes[1].at < changes[0].at) std::swap(changes[0], changes[1]);
    for (const Transition& change : changes) {
      if (transitions_.empty() || change.at > transitions_.back().at)
        transitions_.push_back(change);
      else if (change.at == transitions_.back().at)  // one ends as the other begins
        transitions_.back().after = change.after;
    }
  }
  repeatsFrom_ = secondsSince1970({firstYear + kCycleYears + 1, 1, 1});
  return true;
}

std::int64_t ZoneTable::withinTable(std::int64_t seconds) const {
  if (!repeatsFrom_ || seconds < *repeatsFrom_) return seconds;
  return seconds - ((seconds - *repeatsFrom_) / kCycleSeconds + 1) * kCycleSeconds;
}

ZoneOffset ZoneTable::at(std::int64_t seconds) const {
  const auto next = std::upper_bound(transitions_.begin(), transitions_.end(), withinTable(seconds),
                                     [](std::int64_t s, const Transition& t) { return s < t.at; });
  return next == transitions_.begin() ? first_ : std::prev(next)->after;
}

ZoneOffset ZoneTable::atLocal(std::int64_t localSeconds) const {
  // Both rules, for times shown twice and never, say that the new offset holds once clocks that
  // are set to it show the moment of the change.
  const std::int64_t local = withinTable(localSeconds);
  auto next = std::upper_bound(transitions_.begin(), transitions_.end(), local + kMostOffset,
                               [](std::int64_t s, const Transition& t) { return s < t.at; });
  while (next != transitions_.begin() && local < std::prev(next)->at + std::prev(next)->after.total)
    --next;
  return next == transitions_.begin() ? first_ : std::prev(next)->after;
}

}  // namespace kelm
