#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "kelm/platform/items/item_store.h"

// What every item store does alike: reading dictionaries, comparing attributes, asking the user and
// making answers.
namespace kelm::platform {

/// One item as a store keeps it. `attributes` holds everything but class, access control and
/// secret; the protection class is among them. Wipes the secret at its end.
struct KELM_API StoredItem {
  std::string itemClass;
  Dictionary attributes;
  std::uint32_t accessFlags = 0;
  /// The biometrics that were enrolled when it was added.
  std::optional<Data> biometricSet;
  Data secret;
  Data persistentReference;

  StoredItem() = default;
  StoredItem(const StoredItem&) = default;
  StoredItem(StoredItem&&) = default;
  StoredItem& operator=(const StoredItem&) = default;
  StoredItem& operator=(StoredItem&&) = default;
  ~StoredItem();
};

/// A dictionary, taken apart. Wipes the secret at its end.
struct KELM_API ItemRequest {
  std::string itemClass;
  Dictionary attributes;  // as of StoredItem
  std::optional<std::uint32_t> accessFlags;
  std::optional<Data> secret;
  std::optional<Data> persistentReference;
  bool wantsAll = false;
  bool wantsData = false;
  bool wantsAttributes = false;
  bool wantsReference = false;
  bool wantsPersistentReference = false;
  bool mayAskUser = true;
  std::string prompt;

  ItemRequest() = default;
  ItemRequest(const ItemRequest&) = delete;
  ItemRequest& operator=(const ItemRequest&) = delete;
  ~ItemRequest();
};

inline constexpr std::size_t kMostSecretBytes = 16U << 20;

/// A status other than success where the dictionary makes no sense.
KELM_API std::int32_t readItemRequest(const Dictionary& dictionary, ItemRequest& request);

KELM_API bool isProtectionClass(std::string_view text);
/// Every protection class.
KELM_API std::span<const std::string_view> protectionClasses();

/// The attributes that tell the items of a class apart.
KELM_API std::span<const std::string_view> identifyingAttributes(std::string_view itemClass);
/// Whether a query finds an item.
KELM_API bool matches(const ItemRequest& query, const StoredItem& item);
/// The same for an item whose attributes are elsewhere. `has`: whether there is such an attribute
/// and it equals `value`; null: whether there is one.
using HasAttribute = std::function<bool(std::string_view key, const Value* value)>;
KELM_API bool matches(const ItemRequest& query, const StoredItem& item, const HasAttribute& has);

/// Whether a request names no access group, or one of these; absent: any.
KELM_API bool mayUseGroup(const ItemRequest& request,
                          const std::optional<std::vector<std::string>>& groups);

/// The item that a request adds, with dates and the default protection; its secret is a copy.
KELM_API StoredItem itemOf(const ItemRequest& request, const DeviceSecurity& security, Date now);
/// Whether an item can be added while this protects the device.
KELM_API std::int32_t statusOfAdding(const StoredItem& item, const DeviceSecurity& security);
/// Whether an item is gone for good since `security` holds.
KELM_API bool isInvalidated(const StoredItem& item, const DeviceSecurity& security);

/// Whether reading one of these asks the user.
KELM_API bool demandsUser(std::span<const StoredItem> items);
/// Asks for what reading the found items demands, at most once for each kind of demand; success
/// when nothing is demanded or asked for. Where nobody can be asked, a query for all goes on with
/// the items that demand nothing, if there are any.
KELM_API std::int32_t authenticateFor(const ItemRequest& query, std::vector<StoredItem>& items,
                                      const DeviceSecurity& security,
                                      const ItemAuthenticator& authenticator);
/// The answer made of at least one item.
KELM_API Value answerOf(const ItemRequest& query, std::span<const StoredItem> items);

}  // namespace kelm::platform
