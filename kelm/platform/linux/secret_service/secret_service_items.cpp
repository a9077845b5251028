#include "kelm/platform/linux/secret_service/secret_service_items.h"

#ifdef KELM_HAVE_SDBUS
#include <optional>

#include "kelm/base/utf8.h"
#include "kelm/base/wipe.h"
#include "kelm/platform/items/item_encoding.h"

namespace kelm::platform {

namespace {

using Attributes = SecretServiceBus::Attributes;

constexpr std::size_t kClassSize = 4;   // every class is a text of four letters
constexpr std::size_t kLengthSize = 4;  // of the encoded item, most significant byte first
constexpr const char* kIdentity = "kelm.identity";
constexpr const char* kFlags = "kelm.flags";

std::string hexOf(DataView bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  text.reserve(2 * bytes.size());
  for (const std::uint8_t byte : bytes) {
    text.push_back(kDigits[byte >> 4]);
    text.push_back(kDigits[byte & 15]);
  }
  return text;
}

/// What the bus carries as a text.
bool isBusText(std::string_view text) {
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = text[at] == '\0' ? 0 : sequenceLength(text, at);
    if (length == 0) return false;
    at += length;
  }
  return true;
}

/// Equal values give equal texts.
std::optional<std::string> searchText(const Value& value) {
  StoredItem item;
  item.attributes.set("", value);
  const std::optional<Data> bytes = encodeItem(item);
  if (!bytes) return std::nullopt;
  return hexOf(*bytes);
}

/// What is not searched by is compared once the item is read.
void addSearchable(const Dictionary& from, Attributes& to) {
  for (const auto& [key, value] : from) {
    const bool isAny = key == kSecAttrSynchronizable && value == Value(kSecAttrSynchronizableAny);
    const bool isOwnGroup = key == kSecAttrAccessGroup && value == Value("");
    if (isAny || isOwnGroup || !isBusText(key)) continue;
    if (auto text = searchText(value)) to["kelm.attribute." + key] = *std::move(text);
  }
}

std::optional<Data> packed(const StoredItem& item) {
  const std::optional<Data> encoded = encodeItem(item);
  if (!encoded) return std::nullopt;
  Data bytes;
  bytes.reserve(kClassSize + kLengthSize + encoded->size() + item.secret.size());
  append(bytes, item.itemClass);
  for (int shift = 24; shift >= 0; shift -= 8)
    bytes.push_back(static_cast<std::uint8_t>(encoded->size() >> shift));
  append(bytes, *encoded);
  append(bytes, item.secret);
  return bytes;
}

bool unpack(DataView bytes, StoredItem& item) {
  if (bytes.size() < kClassSize + kLengthSize) return false;
  item.itemClass = textOf(bytes.first(kClassSize));
  std::size_t size = 0;
  for (const std::uint8_t byte : bytes.subspan(kClassSize, kLengthSize))
    size = size << 8 | byte;
  bytes = bytes.subspan(kClassSize + kLengthSize);
  if (bytes.size() < size || !decodeItem(bytes.first(size), item)) return false;
  item.secret.assign(bytes.begin() + static_cast<std::ptrdiff_t>(size), bytes.end());
  return true;
}

std::string labelOf(const StoredItem& item) {
  const Value* account = item.attributes.find(kSecAttrAccount);
  const auto text = account != nullptr ? account->text() : std::nullopt;
  return std::string(text && isBusText(*text) ? *text : item.itemClass);
}

}  // namespace

struct SecretServiceItems::Row {
  std::string path;
  StoredItem item;
  bool isReadable = false;
};

Attributes SecretServiceItems::attributesOf(std::string_view kind) const {
  return {{"kelm.application", application_}, {"kelm.kind", std::string(kind)}};
}

Attributes SecretServiceItems::attributesOf(const StoredItem& item) const {
  Attributes attributes = attributesOf(item.itemClass);
  addSearchable(item.attributes, attributes);
  attributes[kIdentity] = hexOf(identityOf(item));
  attributes[kFlags] = std::to_string(item.accessFlags);
  return attributes;
}

Attributes SecretServiceItems::attributesOf(const ItemRequest& query) const {
  Attributes attributes = attributesOf(query.itemClass);
  addSearchable(query.attributes, attributes);
  if (query.accessFlags) attributes[kFlags] = std::to_string(*query.accessFlags);
  return attributes;
}

/// What is found, in the order of adding. `kInteractionNotAllowed` where some of it is locked.
std::int32_t SecretServiceItems::rowsOf(const Attributes& attributes, std::vector<Row>& rows) {
  SecretServiceBus::Found found;
  if (const std::int32_t status = bus_.search(attributes, found)) return status;
  if (!found.locked.empty()) return item_status::kInteractionNotAllowed;
  std::map<std::string, Data> secrets;
  const std::int32_t status = bus_.secretsOf(found.unlocked, secrets);
  for (const std::string& path : found.unlocked) {
    const auto secret = secrets.find(path);
    if (secret == secrets.end()) continue;
    Row& row = rows.emplace_back();
    row.path = path;
    row.isReadable = unpack(secret->second, row.item);
    row.item.persistentReference = dataOf(path);
    wipe(secret->second);
  }
  return status;
}

std::int32_t SecretServiceItems::add(const ItemRequest& request, Date now, StoredItem& added) {
  DeviceSecurity security;
  if (const std::int32_t status = readSecurity(security)) return status;
  added = itemOf(request, security, now);
  if (const std::int32_t status = statusOfAdding(added, security)) return status;
  return insert(added);
}

/// Success where no sound item has the identity of a new one; a damaged one goes.
std::int32_t SecretServiceItems::makeRoom(const Attributes& twin) {
  std::vector<Row> rows;
  if (const std::int32_t status = rowsOf(twin, rows)) return status;
  for (const Row& row : rows) {
    if (row.isReadable) return item_status::kDuplicateItem;
    if (const std::int32_t status = bus_.remove(row.path)) return status;
  }
  return item_status::kSuccess;
}

std::int32_t SecretServiceItems::insert(StoredItem& item) {
  const Attributes attributes = attributesOf(item);
  Attributes twin = attributesOf(item.itemClass);
  twin[kIdentity] = attributes.at(kIdentity);
  if (const std::int32_t status = makeRoom(twin)) return status;
  std::optional<Data> bytes = packed(item);
  if (!bytes) return item_status::kParameter;
  std::string path;
  const std::int32_t status = bus_.create(labelOf(item), attributes, *bytes, false, path);
  wipe(*bytes);
  if (status != item_status::kSuccess) return status;
  item.persistentReference = dataOf(path);
  return keepFirst(twin, path);
}

/// The service lets twins stand. Of those that two processes add at once the earliest stays.
std::int32_t SecretServiceItems::keepFirst(const Attributes& twin, const std::string& mine) {
  SecretServiceBus::Found found;
  if (const std::int32_t status = bus_.search(twin, found)) return status;
  if (found.unlocked.empty() || found.unlocked.front() == mine) return item_status::kSuccess;
  const std::int32_t status = bus_.remove(mine);
  return status == item_status::kSuccess ? item_status::kDuplicateItem : status;
}

std::int32_t SecretServiceItems::find(const ItemRequest& query, std::vector<StoredItem>& items,
                                      DeviceSecurity& security) {
  std::vector<Row> rows;
  if (const std::int32_t status = rowsOf(attributesOf(query), rows)) return status;
  std::int32_t worst = item_status::kItemNotFound;
  for (Row& row : rows) {
    if (!row.isReadable) worst = item_status::kDecode;
    if (!row.isReadable || !matches(query, row.item)) continue;
    items.push_back(std::move(row.item));
    if (!query.wantsAll) break;
  }
  if (items.empty()) return worst;
  return demandsUser(items) ? readSecurity(security) : item_status::kSuccess;
}

std::int32_t SecretServiceItems::remove(const ItemRequest& query) {
  std::vector<Row> rows;
  if (const std::int32_t status = rowsOf(attributesOf(query), rows)) return status;
  std::int32_t result = item_status::kItemNotFound;
  for (const Row& row : rows) {
    // What cannot be read any more goes with those that it was found with.
    if (row.isReadable && !matches(query, row.item)) continue;
    result = bus_.remove(row.path);
    if (result != item_status::kSuccess) return result;
  }
  return result;
}

std::int32_t SecretServiceItems::apply(const DeviceSecurity& security) {
  DeviceSecurity earlier;
  const std::int32_t read = readSecurity(earlier);
  if (read != item_status::kSuccess && read != item_status::kDecode) return read;
  if (read == item_status::kSuccess && earlier == security) return item_status::kSuccess;
  for (const std::string_view itemClass : {kSecClassGenericPassword, kSecClassInternetPassword,
                                           kSecClassCertificate, kSecClassKey, kSecClassIdentity}) {
    std::vector<Row> rows;
    if (const std::int32_t status = rowsOf(attributesOf(itemClass), rows)) return status;
    for (const Row& row : rows) {
      if (!row.isReadable || !isInvalidated(row.item, security)) continue;
      if (const std::int32_t status = bus_.remove(row.path)) return status;
    }
  }
  std::string path;
  return bus_.create("Device security", attributesOf("device"), encodeSecurity(security), true,
                     path);
}

std::int32_t SecretServiceItems::readSecurity(DeviceSecurity& security) {
  security = DeviceSecurity();
  SecretServiceBus::Found found;
  if (const std::int32_t status = bus_.search(attributesOf("device"), found)) return status;
  if (!found.locked.empty()) return item_status::kInteractionNotAllowed;
  std::map<std::string, Data> secrets;
  if (const std::int32_t status = bus_.secretsOf(found.unlocked, secrets)) return status;
  if (secrets.empty()) return item_status::kSuccess;
  return decodeSecurity(secrets.begin()->second, security) ? item_status::kSuccess
                                                           : item_status::kDecode;
}

}  // namespace kelm::platform
#endif
