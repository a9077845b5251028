#include "kelm/crypto/vasp_rsa_key_util.h"

#include <cstdint>
#include <string>

#include "kelm/base/mutex.h"
#include "kelm/base/wipe.h"
#include "kelm/crypto/key_items.h"
#include "kelm/crypto/vasp_crypto_utils.h"
#include "kelm/platform/items/item_store.h"

namespace kelm {

namespace {

constexpr std::uint8_t kSequenceTag = 0x30;
constexpr std::uint8_t kIntegerTag = 0x02;

void appendLength(Data& der, std::size_t length) {
  if (length >= 256)
    append(der, Data{0x82, static_cast<std::uint8_t>(length >> 8)});
  else if (length >= 128)
    der.push_back(0x81);
  der.push_back(static_cast<std::uint8_t>(length));
}

}  // namespace

std::optional<Data> VaspRSAKeyUtil::generateRSAPublicKeyWithModulus_exponent(
    std::optional<DataView> modulus, std::optional<DataView> exponent) {
  if (!modulus || !exponent) return std::nullopt;
  const bool looksNegative = !modulus->empty() && modulus->front() >= 0x80;
  Data numbers{kIntegerTag};
  appendLength(numbers, modulus->size() + (looksNegative ? 1 : 0));
  if (looksNegative) numbers.push_back(0);
  append(numbers, *modulus);
  append(numbers, Data{kIntegerTag, static_cast<std::uint8_t>(exponent->size())});
  append(numbers, *exponent);
  Data der{kSequenceTag};
  appendLength(der, numbers.size());
  append(der, numbers);
  return der;
}

KeyReference VaspRSAKeyUtil::generateRSAKeyWithHexModulus_andHexExponent_type(
    std::string_view hexModulus, std::string_view hexExponent, std::string_view keyClass) {
  if (keyClass != kSecAttrKeyClassPublic) return nullptr;
  const std::optional<Data> der = generateRSAPublicKeyWithModulus_exponent(
      VaspCryptoUtils::dataFromHexadecimalString(hexModulus),
      VaspCryptoUtils::dataFromHexadecimalString(hexExponent));
  const std::string fingerprint = std::string(hexModulus) + '|' + std::string(hexExponent);
  return dataKeyToSecKeyRef_withFingerprint_forKeyType(*der, fingerprint, keyClass);
}

KeyReference VaspRSAKeyUtil::dataKeyToSecKeyRef_withFingerprint_forKeyType(
    DataView der, std::string_view fingerprint, std::string_view keyClass) {
  platform::ItemStore& store = *platform::current<platform::ItemStore>();
  static Mutex& mutex = *new Mutex;  // two threads that keep one key would remove each other's
  const Lock lock(mutex);
  Dictionary query = keyQuery(sha1FromStringInHex(fingerprint));
  query.set(kSecAttrKeyClass, keyClass);
  (void)store.remove(query);
  Dictionary item = query;
  item.set(kSecValueData, Data(der.begin(), der.end()));
  item.set(kSecReturnPersistentRef, true);
  const std::int32_t status = store.add(item).status;
  wipe(*item.find(kSecValueData)->get<Data>());
  if (status != item_status::kSuccess) return nullptr;
  return findKey(query, keyClass == kSecAttrKeyClassPrivate ? KeyPart::Private : KeyPart::Public);
}

Data VaspRSAKeyUtil::sha1FromStringInHex(std::string_view text) { return dataOf(text); }

}  // namespace kelm
