#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "kelm/base/data.h"
#include "kelm/base/export.h"
#include "kelm/base/object.h"
#include "kelm/base/result.h"
#include "kelm/base/value.h"
#include "kelm/platform/items/item_attributes.h"
#include "kelm/platform/service.h"

namespace kelm::platform {

struct Platform;

/// What reading an item demands: a protection class and flags (`access_control_flag`).
class KELM_API AccessControl final : public Object {
 public:
  AccessControl(std::string_view protection, std::uint32_t flags)
      : protection_(protection), flags_(flags) {}

  const std::string& protection() const { return protection_; }
  std::uint32_t flags() const { return flags_; }
  /// Such as "<AccessControl akpu 8>".
  std::string description() const override;
  bool isEqual(const Object& other) const override;
  std::size_t hash() const override;

 private:
  const std::string protection_;
  const std::uint32_t flags_;
};

/// What `kSecReturnRef` gives: a handle that holds the secret of an item, such as the encoding of a
/// key. Shows nothing of it, and wipes it at its end.
class KELM_API ItemReference final : public Object {
 public:
  explicit ItemReference(Data secret) : secret_(std::move(secret)) {}
  ~ItemReference() override;
  ItemReference(const ItemReference&) = delete;
  ItemReference& operator=(const ItemReference&) = delete;

  DataView secret() const { return secret_; }
  std::string description() const override;

 private:
  Data secret_;
};

/// What protects the device at this moment.
struct DeviceSecurity {
  bool isPasscodeSet = false;
  /// Stands for the enrolled biometrics: changes whenever they do. Absent: none enrolled.
  std::optional<Data> biometricSet;

  bool operator==(const DeviceSecurity&) const = default;
};

/// Asks the user: for the passcode, for biometry, or, when both are offered, for either one unless
/// `needsBoth`. Returns success, `kUserCanceled` or `kAuthenticationFailed`.
struct AuthenticationRequest {
  bool passcode = false;
  bool biometry = false;
  bool needsBoth = false;
  std::string prompt;
};
using ItemAuthenticator = std::function<std::int32_t(const AuthenticationRequest&)>;

struct ItemAnswer {
  std::int32_t status = item_status::kSuccess;
  /// `Null` after a failure and when nothing was asked for; the secrets in it are the caller's.
  Value result;
};

/// Which store keeps the items: a short name, where, and why this one.
struct ItemStoreUse {
  std::string name;  ///< "sqlite", "secret-service", "memory"
  std::string place;
  std::string reason;
};

/// Keeps secrets and their attributes, described by dictionaries (`item_attributes.h`). Two items
/// of a class differ in what identifies them: service, account, generic attribute and access group
/// of generic passwords; tag, key type, key class and label of keys; and the like. Once add() or
/// remove() report success their effect is durable; when they fail nothing has changed. Secrets are
/// read only in exchange for what their access control demands. Thread-safe; other processes may
/// share the store. Calls block, on the disk and on the user, but for no longer than five seconds
/// on another process.
class KELM_API ItemStore {
 public:
  virtual ~ItemStore() = default;
  /// Holds the one in use; `current<ItemStore>()` returns it.
  static Slot<ItemStore>& slot();
  /// Makes the system's own.
  static std::shared_ptr<ItemStore> makeSystem();

  /// Adds one item; its protection is `kSecAttrAccessible`, or what `kSecAttrAccessControl` says,
  /// else "when unlocked". Returns what the dictionary asks for, as copyMatching() does.
  /// `kAuthenticationFailed` when it demands a passcode or biometrics and none is set up.
  virtual ItemAnswer add(const Dictionary& item) = 0;
  /// Removes what `query` finds, if there is anything, and adds the item; where the store can, in
  /// one step, so that whoever looks meanwhile, or after a crash, finds the one or the other.
  virtual ItemAnswer replace(const Dictionary& query, const Dictionary& item);
  /// Finds items by all attributes that the query names. One asked-for form gives the form itself:
  /// the data, a dictionary of attributes, an `ItemReference` or a persistent reference (data);
  /// several give a dictionary with the others under the `kSecValue…` keys. With
  /// `kSecMatchLimitAll` a list of these. An item that demands authentication asks the user when
  /// its data or reference is wanted; `kInteractionNotAllowed` where nobody may or can be asked.
  /// A damaged item is `kDecode`. Both are left out of a list in which others remain.
  virtual ItemAnswer copyMatching(const Dictionary& query) = 0;
  /// Removes every item that the query finds; nobody is asked. `kItemNotFound` when there is none.
  virtual std::int32_t remove(const Dictionary& query) = 0;

  /// An access-control object, or why there is none (`kStatusDomain`).
  virtual Result<std::shared_ptr<AccessControl>> createAccessControl(std::string_view protection,
                                                                     std::uint32_t flags);

  /// Tells what protects the device: at the start of the host and at every change. Without a
  /// passcode the items of the class "when passcode set" are gone for good, and so are, after a
  /// change of the enrolled biometrics, items that nothing but the earlier set could open. The
  /// last report holds for later processes; before the first one nothing is set up.
  virtual std::int32_t reportDeviceSecurity(const DeviceSecurity& security) = 0;
  /// Who asks the user; nobody until it is set, and after an empty one.
  virtual void setAuthenticator(ItemAuthenticator authenticator) = 0;

  virtual ItemStoreUse use() const = 0;

  static constexpr std::string_view kStatusDomain = "NSOSStatusErrorDomain";
};

/// The readable sentence of a status; empty for one that is not of this store.
KELM_API std::string_view sentenceOfItemStatus(std::int32_t status);

}  // namespace kelm::platform
