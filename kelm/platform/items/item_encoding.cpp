#include "kelm/platform/items/item_encoding.h"

#include <array>
#include <bit>
#include <cmath>
#include <string>
#include <string_view>
#include <utility>

namespace kelm::platform {

namespace {

enum class Kind : std::uint8_t { Absent, Bool, Signed, Unsigned, Real, Text, Bytes, Time };

constexpr std::size_t kUsualBytes = 256;     // of what an item is encoded to
constexpr std::size_t kUsualAttributes = 8;  // of an item

void appendHeader(Data& out, Kind kind, std::size_t size) {
  const std::array<std::uint8_t, 5> header = {
      static_cast<std::uint8_t>(kind), static_cast<std::uint8_t>(size >> 24),
      static_cast<std::uint8_t>(size >> 16), static_cast<std::uint8_t>(size >> 8),
      static_cast<std::uint8_t>(size)};
  append(out, header);
}

void appendBytes(Data& out, Kind kind, DataView bytes) {
  appendHeader(out, kind, bytes.size());
  append(out, bytes);
}

void appendNumber(Data& out, Kind kind, std::uint64_t bits) {
  appendHeader(out, kind, sizeof bits);
  for (int shift = 56; shift >= 0; shift -= 8)
    out.push_back(static_cast<std::uint8_t>(bits >> shift));
}

void appendReal(Data& out, double number) {
  constexpr double kSafe = 9007199254740992;  // 2^53: whole numbers below are exact
  if (std::trunc(number) == number && std::abs(number) < kSafe)
    appendNumber(out, Kind::Signed, static_cast<std::uint64_t>(static_cast<std::int64_t>(number)));
  else
    appendNumber(out, Kind::Real, std::bit_cast<std::uint64_t>(number));
}

bool appendValue(Data& out, const Value& value) {
  if (const auto* truth = value.get<bool>())
    appendBytes(out, Kind::Bool, Data{*truth ? std::uint8_t{1} : std::uint8_t{0}});
  else if (const auto* number = value.get<std::int64_t>())
    appendNumber(out, Kind::Signed, static_cast<std::uint64_t>(*number));
  else if (const auto* large = value.get<std::uint64_t>())
    appendNumber(out, *large >> 63 != 0 ? Kind::Unsigned : Kind::Signed, *large);
  else if (const auto* real = value.get<double>())
    appendReal(out, *real);
  else if (const auto* text = value.get<std::string>())
    appendBytes(out, Kind::Text, bytesOf(*text));
  else if (const auto* bytes = value.get<Data>())
    appendBytes(out, Kind::Bytes, *bytes);
  else if (const auto* date = value.get<Date>())
    appendNumber(out, Kind::Time, std::bit_cast<std::uint64_t>(date->secondsSince1970));
  else
    return false;
  return true;
}

/// Takes values off the front of bytes that anybody may have changed.
class Reader {
 public:
  explicit Reader(DataView bytes) : rest_(bytes) {}

  bool isAtEnd() const { return rest_.empty(); }

  /// `Null` for an absent value.
  bool take(Value& value) {
    Kind kind;
    DataView bytes;
    if (!takeSound(kind, bytes)) return false;
    value = make(kind, bytes);
    return true;
  }
  bool skip() {
    Kind kind;
    DataView bytes;
    return takeSound(kind, bytes);
  }
  DataView rest() const { return rest_; }
  /// Lies within the bytes.
  bool takeText(std::string_view& text) {
    Kind kind;
    DataView bytes;
    if (!takeBytes(kind, bytes) || kind != Kind::Text) return false;
    text = textOf(bytes);
    return true;
  }

 private:
  bool takeBytes(Kind& kind, DataView& bytes) {
    if (rest_.size() < 5) return false;
    kind = static_cast<Kind>(rest_[0]);
    const std::size_t size = std::size_t{rest_[1]} << 24 | std::size_t{rest_[2]} << 16 |
                             std::size_t{rest_[3]} << 8 | std::size_t{rest_[4]};
    if (rest_.size() - 5 < size) return false;
    bytes = rest_.subspan(5, size);
    rest_ = rest_.subspan(5 + size);
    return true;
  }

  bool takeSound(Kind& kind, DataView& bytes) {
    return takeBytes(kind, bytes) && isSound(kind, bytes.size());
  }

  static bool isSound(Kind kind, std::size_t size) {
    switch (kind) {
      case Kind::Absent:
        return size == 0;
      case Kind::Bool:
        return size == 1;
      case Kind::Signed:
      case Kind::Unsigned:
      case Kind::Real:
      case Kind::Time:
        return size == sizeof(std::uint64_t);
      case Kind::Text:
      case Kind::Bytes:
        return true;
    }
    return false;
  }

  static Value make(Kind kind, DataView bytes) {
    if (kind == Kind::Text) return textOf(bytes);
    if (kind == Kind::Bytes) return Data(bytes.begin(), bytes.end());
    if (kind == Kind::Absent) return Null();
    if (kind == Kind::Bool) return bytes[0] != 0;
    std::uint64_t bits = 0;
    for (const std::uint8_t byte : bytes)
      bits = bits << 8 | byte;
    if (kind == Kind::Signed) return static_cast<std::int64_t>(bits);
    if (kind == Kind::Real) return std::bit_cast<double>(bits);
    if (kind == Kind::Time) return Date{std::bit_cast<double>(bits)};
    return bits;
  }

  DataView rest_;
};

void appendOptional(Data& out, const std::optional<Data>& bytes) {
  if (bytes)
    appendBytes(out, Kind::Bytes, *bytes);
  else
    appendHeader(out, Kind::Absent, 0);
}

bool takeOptional(Reader& reader, std::optional<Data>& bytes) {
  Value value;
  if (!reader.take(value)) return false;
  bytes.reset();
  if (value.isNull()) return true;
  if (auto* content = value.get<Data>()) bytes = std::move(*content);
  return bytes.has_value();
}

}  // namespace

std::optional<Data> encodeItem(const StoredItem& item) {
  Data out;
  out.reserve(kUsualBytes);
  appendNumber(out, Kind::Unsigned, item.accessFlags);
  appendOptional(out, item.biometricSet);
  for (const Dictionary::Entry& entry : item.attributes) {
    appendBytes(out, Kind::Text, bytesOf(entry.key));
    if (!appendValue(out, entry.value)) return std::nullopt;
  }
  return out;
}

bool EncodedItem::read(DataView bytes, StoredItem& item) {
  Reader reader(bytes);
  Value flags;
  if (!reader.take(flags) || flags.get<std::uint64_t>() == nullptr) return false;
  item.accessFlags = static_cast<std::uint32_t>(*flags.get<std::uint64_t>());
  if (!takeOptional(reader, item.biometricSet)) return false;
  attributes_ = reader.rest();
  std::string_view protection;
  while (!reader.isAtEnd()) {
    std::string_view key;
    if (!reader.takeText(key)) return false;
    if (!(key == kSecAttrAccessible ? reader.takeText(protection) : reader.skip())) return false;
  }
  return isProtectionClass(protection);
}

bool EncodedItem::has(std::string_view key, const Value* value) const {
  Reader reader(attributes_);
  std::string_view found;
  while (reader.takeText(found) && found != key)
    if (!reader.skip()) return false;
  if (reader.isAtEnd()) return false;
  if (value == nullptr) return true;
  if (const auto* text = value->get<std::string>()) {
    std::string_view content;
    return reader.takeText(content) && content == *text;
  }
  Value content;
  return reader.take(content) && content == *value;
}

void EncodedItem::copyAttributes(StoredItem& item) const {
  item.attributes.reserve(kUsualAttributes);
  Reader reader(attributes_);
  std::string_view key;
  Value value;
  while (reader.takeText(key) && reader.take(value))
    item.attributes.set(key, std::move(value));
}

bool decodeItem(DataView bytes, StoredItem& item) {
  EncodedItem encoded;
  if (!encoded.read(bytes, item)) return false;
  encoded.copyAttributes(item);
  return true;
}

Data identityOf(const StoredItem& item) {
  Data out;
  out.reserve(kUsualBytes);
  for (const std::string_view key : identifyingAttributes(item.itemClass)) {
    const Value* value = item.attributes.find(key);
    if (value == nullptr || !appendValue(out, *value)) appendHeader(out, Kind::Absent, 0);
  }
  return out;
}

Data identityPrefixOf(const ItemRequest& query) {
  Data out;
  out.reserve(kUsualBytes);
  for (const std::string_view key : identifyingAttributes(query.itemClass)) {
    const Value* value = query.attributes.find(key);
    // From the access group on, words of a query stand for more than themselves.
    if (value == nullptr || key == kSecAttrAccessGroup || !appendValue(out, *value)) break;
  }
  return out;
}

Data encodeSecurity(const DeviceSecurity& security) {
  Data out;
  appendValue(out, security.isPasscodeSet);
  appendOptional(out, security.biometricSet);
  return out;
}

bool decodeSecurity(DataView bytes, DeviceSecurity& security) {
  Reader reader(bytes);
  Value passcode;
  if (!reader.take(passcode) || passcode.get<bool>() == nullptr) return false;
  security.isPasscodeSet = *passcode.get<bool>();
  return takeOptional(reader, security.biometricSet) && reader.isAtEnd();
}

}  // namespace kelm::platform
