#include "kelm/platform/items/item_store.h"

#include <algorithm>
#include <utility>

#include "kelm/base/format.h"
#include "kelm/base/wipe.h"
#include "kelm/platform/items/item_query.h"

namespace kelm::platform {

Slot<ItemStore>& ItemStore::slot() {
  static constinit Slot<ItemStore> held;
  return held;
}

std::string AccessControl::description() const {
  return format("<AccessControl %@ %u>", protection_, flags_);
}

bool AccessControl::isEqual(const Object& other) const {
  const auto* control = dynamic_cast<const AccessControl*>(&other);
  return control != nullptr && control->protection_ == protection_ && control->flags_ == flags_;
}

std::size_t AccessControl::hash() const { return Value(protection_).hash() ^ flags_; }

ItemReference::~ItemReference() { wipe(secret_); }

std::string ItemReference::description() const { return "<ItemReference>"; }

Result<std::shared_ptr<AccessControl>> ItemStore::createAccessControl(std::string_view protection,
                                                                      std::uint32_t flags) {
  using namespace access_control_flag;
  constexpr std::uint32_t kFactors =
      kUserPresence | kBiometryAny | kBiometryCurrentSet | kDevicePasscode;
  if (!isProtectionClass(protection) || (flags & ~(kFactors | kOr)) != 0 || (flags & kFactors) == 0)
    return Error::make(kStatusDomain, item_status::kParameter,
                       sentenceOfItemStatus(item_status::kParameter));
  return std::make_shared<AccessControl>(protection, flags);
}

ItemAnswer ItemStore::replace(const Dictionary& query, const Dictionary& item) {
  remove(query);
  return add(item);
}

std::string_view sentenceOfItemStatus(std::int32_t status) {
  switch (status) {
    case item_status::kSuccess:
      return "No error.";
    case item_status::kDiskFull:
      return "The disk is full.";
    case item_status::kInputOutput:
      return "The item store could not be read or written.";
    case item_status::kParameter:
      return "One or more parameters passed to a function were not valid.";
    case item_status::kUserCanceled:
      return "The user canceled the operation.";
    case item_status::kNoAccessForItem:
      return "The specified item has no access control.";
    case item_status::kNotAvailable:
      return "No item store is available.";
    case item_status::kReadOnly:
      return "The item store cannot be modified.";
    case item_status::kAuthenticationFailed:
      return "The user was not authenticated.";
    case item_status::kDuplicateItem:
      return "The specified item already exists in the keychain.";
    case item_status::kItemNotFound:
      return "The specified item could not be found in the keychain.";
    case item_status::kInteractionNotAllowed:
      return "User interaction is not allowed.";
    case item_status::kDecode:
      return "Unable to decode the provided data.";
    default:
      return {};
  }
}

}  // namespace kelm::platform
