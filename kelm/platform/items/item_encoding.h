#pragma once

#include <optional>
#include <string_view>

#include "kelm/base/data.h"
#include "kelm/base/export.h"
#include "kelm/platform/items/item_query.h"

namespace kelm::platform {

// How items are written down. A value is a byte for its kind, four bytes for its length, most
// significant first, and its bytes; equal numbers are written alike, whatever their type.

/// Everything of an item but its class, its secret and its persistent reference. Absent when a
/// value has no such form.
KELM_SHARED std::optional<Data> encodeItem(const StoredItem& item);
/// False, with the item unspecified, for what encodeItem() does not write.
[[nodiscard]] KELM_SHARED bool decodeItem(DataView bytes, StoredItem& item);

/// An encoded item whose attributes are looked up where they lie: the bytes must outlive it.
class KELM_SHARED EncodedItem {
 public:
  /// Does what decodeItem() does, but leaves the attributes out.
  [[nodiscard]] bool read(DataView bytes, StoredItem& item);
  /// Whether there is such an attribute and it equals `value`; null: whether there is one.
  bool has(std::string_view key, const Value* value) const;
  void copyAttributes(StoredItem& item) const;

 private:
  DataView attributes_;
};

/// What identifies an item, attribute by attribute in the order of `identifyingAttributes`. That of
/// two items is equal only when one cannot stand beside the other.
KELM_SHARED Data identityOf(const StoredItem& item);
/// What the identity of everything that a query finds begins with, as far as the query tells.
KELM_SHARED Data identityPrefixOf(const ItemRequest& query);

/// What protects the device, for a store to remember.
KELM_SHARED Data encodeSecurity(const DeviceSecurity& security);
[[nodiscard]] KELM_SHARED bool decodeSecurity(DataView bytes, DeviceSecurity& security);

}  // namespace kelm::platform
