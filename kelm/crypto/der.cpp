#include "kelm/crypto/der.h"

namespace kelm {

namespace {

constexpr std::uint8_t kConstructed = 0x20;
constexpr std::uint8_t kLongTag = 0x1F;
constexpr std::uint8_t kLongLength = 0x80;
constexpr int kMostLevels = 32;

/// The bytes of the tag at the beginning; 0 when malformed.
std::size_t tagSize(DataView bytes) {
  if (bytes.empty()) return 0;
  if ((bytes[0] & kLongTag) != kLongTag) return 1;
  std::size_t at = 1;
  while (at < bytes.size() && (bytes[at] & 0x80) != 0)
    ++at;
  const bool isShortest = at < bytes.size() && bytes[1] != 0x80 && (at > 1 || bytes[1] >= kLongTag);
  return isShortest ? at + 1 : 0;
}

bool isShortestInteger(DataView content) {
  if (content.size() < 2) return !content.empty();
  return !(content[0] == 0 && content[1] < 0x80) && !(content[0] == 0xFF && content[1] >= 0x80);
}

bool isDerPrimitive(std::uint8_t tag, DataView content) {
  if (tag == der_tag::kInteger) return isShortestInteger(content);
  if (tag == der_tag::kBoolean)
    return content.size() == 1 && (content[0] == 0 || content[0] == 0xFF);
  return true;
}

bool areDer(DataView content, int levels);

bool isDerElement(DerReader& reader, bool isExtension, int levels) {
  const std::uint8_t tag = reader.nextTag().value_or(0);
  const std::optional<DataView> content = reader.take();
  if (!content || levels == 0) return false;
  if ((tag & kConstructed) != 0) return areDer(*content, levels - 1);
  if (tag == der_tag::kOctetString && isExtension) return areDer(*content, levels - 1);
  return isDerPrimitive(tag, *content);
}

/// An OCTET STRING behind an identifier is an extension's value, which is DER itself.
bool areDer(DataView content, int levels) {
  DerReader reader(content);
  const bool isExtension = reader.nextTag() == der_tag::kObjectIdentifier;
  while (!reader.atEnd())
    if (!isDerElement(reader, isExtension, levels)) return false;
  return true;
}

}  // namespace

std::optional<std::uint8_t> DerReader::nextTag() const {
  return rest_.empty() ? std::nullopt : std::optional(rest_[0]);
}

std::optional<DataView> DerReader::take() {
  const std::size_t tag = tagSize(rest_);
  if (tag == 0 || tag >= rest_.size()) return std::nullopt;
  std::size_t start = tag + 1;
  std::size_t length = rest_[tag];
  if (length >= kLongLength) {
    const std::size_t count = length - kLongLength;
    if (count == 0 || count > sizeof length || count > rest_.size() - start) return std::nullopt;
    if (rest_[start] == 0) return std::nullopt;
    length = 0;
    for (std::size_t i = 0; i < count; ++i)
      length = length << 8 | rest_[start++];
    if (length < kLongLength) return std::nullopt;
  }
  if (length > rest_.size() - start) return std::nullopt;
  const DataView content = rest_.subspan(start, length);
  rest_ = rest_.subspan(start + length);
  return content;
}

std::optional<DataView> DerReader::take(std::uint8_t tag) {
  return nextTag() == tag ? take() : std::nullopt;
}

std::optional<DataView> DerReader::takeUnsigned() {
  const std::optional<DataView> content = take(der_tag::kInteger);
  if (!content || !isShortestInteger(*content) || (*content)[0] >= 0x80) return std::nullopt;
  return (*content)[0] == 0 ? content->subspan(1) : *content;
}

bool isDer(DataView bytes) {
  DerReader reader(bytes);
  return isDerElement(reader, false, kMostLevels) && reader.atEnd();
}

void appendDerLength(Data& der, std::size_t length) {
  int bytes = 0;
  while (length >> (8 * bytes) != 0 && bytes < static_cast<int>(sizeof length) - 1)
    ++bytes;
  if (length >= kLongLength) der.push_back(static_cast<std::uint8_t>(kLongLength + bytes));
  for (int at = length >= kLongLength ? bytes - 1 : 0; at >= 0; --at)
    der.push_back(static_cast<std::uint8_t>(length >> (8 * at)));
}

void appendDerUnsigned(Data& der, DataView number) {
  const bool needsZero = number.empty() || number[0] >= 0x80;
  der.push_back(der_tag::kInteger);
  appendDerLength(der, number.size() + (needsZero ? 1 : 0));
  if (needsZero) der.push_back(0);
  append(der, number);
}

}  // namespace kelm
