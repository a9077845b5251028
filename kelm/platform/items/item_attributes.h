#pragma once

#include <array>
#include <cstdint>
#include <string_view>

// The words of the secure item store: keys and values of the dictionaries that describe items and
// queries, and what calls report.
namespace kelm {

/// The class of an item. A dictionary of attributes without it is about generic passwords.
inline constexpr std::string_view kSecClass = "class";
inline constexpr std::string_view kSecClassGenericPassword = "genp";
inline constexpr std::string_view kSecClassInternetPassword = "inet";
inline constexpr std::string_view kSecClassCertificate = "cert";
inline constexpr std::string_view kSecClassKey = "keys";
inline constexpr std::string_view kSecClassIdentity = "idnt";

/// Attributes. Text, unless something else is said.
inline constexpr std::string_view kSecAttrAccessible = "pdmn";     // a protection class
inline constexpr std::string_view kSecAttrAccessControl = "accc";  // an AccessControl
inline constexpr std::string_view kSecAttrAccessGroup = "agrp";
inline constexpr std::string_view kSecAttrSynchronizable = "sync";  // bool
inline constexpr std::string_view kSecAttrSynchronizableAny = "syna";
inline constexpr std::string_view kSecAttrCreationDate = "cdat";      // the store's, a date
inline constexpr std::string_view kSecAttrModificationDate = "mdat";  // the store's, a date
inline constexpr std::string_view kSecAttrDescription = "desc";
inline constexpr std::string_view kSecAttrComment = "icmt";
inline constexpr std::string_view kSecAttrCreator = "crtr";  // number
inline constexpr std::string_view kSecAttrType = "type";     // number
inline constexpr std::string_view kSecAttrLabel = "labl";
inline constexpr std::string_view kSecAttrAccount = "acct";
inline constexpr std::string_view kSecAttrService = "svce";
inline constexpr std::string_view kSecAttrGeneric = "gena";  // text or data
inline constexpr std::string_view kSecAttrServer = "srvr";
inline constexpr std::string_view kSecAttrProtocol = "ptcl";
inline constexpr std::string_view kSecAttrAuthenticationType = "atyp";
inline constexpr std::string_view kSecAttrPort = "port";  // number
inline constexpr std::string_view kSecAttrPath = "path";
inline constexpr std::string_view kSecAttrIssuer = "issr";        // data
inline constexpr std::string_view kSecAttrSerialNumber = "slnr";  // data
inline constexpr std::string_view kSecAttrKeyClass = "kcls";
inline constexpr std::string_view kSecAttrKeyClassPublic = "0";
inline constexpr std::string_view kSecAttrKeyClassPrivate = "1";
inline constexpr std::string_view kSecAttrKeyType = "type";
inline constexpr std::string_view kSecAttrKeySizeInBits = "bsiz";   // number
inline constexpr std::string_view kSecAttrApplicationTag = "atag";  // data
/// Data: tells apart the keys of one tag, such as a digest of the public key.
inline constexpr std::string_view kSecAttrApplicationLabel = "klbl";
inline constexpr std::string_view kSecAttrIsPermanent = "perm";  // bool

/// Protection classes: when an item can be read, and whether it may leave the device.
inline constexpr std::string_view kSecAttrAccessibleWhenUnlocked = "ak";
inline constexpr std::string_view kSecAttrAccessibleAfterFirstUnlock = "ck";
inline constexpr std::string_view kSecAttrAccessibleAlways = "dk";
inline constexpr std::string_view kSecAttrAccessibleWhenPasscodeSetThisDeviceOnly = "akpu";
inline constexpr std::string_view kSecAttrAccessibleWhenUnlockedThisDeviceOnly = "aku";
inline constexpr std::string_view kSecAttrAccessibleAfterFirstUnlockThisDeviceOnly = "cku";
inline constexpr std::string_view kSecAttrAccessibleAlwaysThisDeviceOnly = "dku";

/// The secret bytes (data), and what refers to an item (data, as the store returned it).
inline constexpr std::string_view kSecValueData = "v_Data";
inline constexpr std::string_view kSecValueRef = "v_Ref";
inline constexpr std::string_view kSecValuePersistentRef = "v_PersistentRef";

/// How many items a query is about; the first that was added when it does not say.
inline constexpr std::string_view kSecMatchLimit = "m_Limit";
inline constexpr std::string_view kSecMatchLimitOne = "m_LimitOne";
inline constexpr std::string_view kSecMatchLimitAll = "m_LimitAll";

/// What a call returns of an item: each a bool.
inline constexpr std::string_view kSecReturnData = "r_Data";
inline constexpr std::string_view kSecReturnAttributes = "r_Attributes";
inline constexpr std::string_view kSecReturnRef = "r_Ref";
inline constexpr std::string_view kSecReturnPersistentRef = "r_PersistentRef";

/// The sentence that the user is shown, and whether nobody may be asked (bool).
inline constexpr std::string_view kSecUseOperationPrompt = "u_OpPrompt";
inline constexpr std::string_view kSecUseNoAuthenticationUI = "u_NoAuthUI";

/// What an access-control object demands; values are added.
namespace access_control_flag {
inline constexpr std::uint32_t kUserPresence = 1;  // the passcode or any biometry
inline constexpr std::uint32_t kBiometryAny = 2;
inline constexpr std::uint32_t kBiometryCurrentSet = 8;
inline constexpr std::uint32_t kDevicePasscode = 16;
inline constexpr std::uint32_t kOr = 16384;  // one of the others is enough
}  // namespace access_control_flag

/// What a call on the item store reports.
namespace item_status {
inline constexpr std::int32_t kSuccess = 0;
inline constexpr std::int32_t kDiskFull = -34;
inline constexpr std::int32_t kInputOutput = -36;
inline constexpr std::int32_t kParameter = -50;  // a dictionary that makes no sense
inline constexpr std::int32_t kUserCanceled = -128;
inline constexpr std::int32_t kNoAccessForItem = -25243;  // a foreign access group
inline constexpr std::int32_t kNotAvailable = -25291;     // the store cannot be used at all
inline constexpr std::int32_t kReadOnly = -25292;
inline constexpr std::int32_t kAuthenticationFailed = -25293;  // or the means for it is not set up
inline constexpr std::int32_t kDuplicateItem = -25299;
inline constexpr std::int32_t kItemNotFound = -25300;
inline constexpr std::int32_t kInteractionNotAllowed = -25308;  // it exists, nobody may be asked
inline constexpr std::int32_t kDecode = -26275;  // it exists, but was damaged or tampered with
}  // namespace item_status

}  // namespace kelm
