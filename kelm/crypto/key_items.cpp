#include "kelm/crypto/key_items.h"

#include <optional>
#include <utility>

#include "kelm/base/wipe.h"
#include "kelm/crypto/digest.h"
#include "kelm/crypto/key_type.h"
#include "kelm/platform/items/item_store.h"

namespace kelm {

namespace {

platform::ItemStore& store() { return *platform::current<platform::ItemStore>(); }

Data copyOf(DataView bytes) { return {bytes.begin(), bytes.end()}; }

void wipeSecret(Dictionary& item) {
  if (Value* const secret = item.find(kSecValueData)) wipe(*secret->get<Data>());
}

/// One half as an item. The label, a digest of the public key, tells apart the pairs of a tag.
Dictionary halfOf(KeyPart part, DataView tag, Data secret, const Data& label) {
  Dictionary item = keyQuery(tag);
  item.set(kSecAttrKeyClass,
           part == KeyPart::Public ? kSecAttrKeyClassPublic : kSecAttrKeyClassPrivate);
  item.set(kSecAttrAccessible, kSecAttrAccessibleAfterFirstUnlockThisDeviceOnly);
  item.set(kSecAttrIsPermanent, true);
  item.set(kSecAttrApplicationLabel, label);
  item.set(kSecValueData, std::move(secret));
  return item;
}

/// Null when the answer is no reference to a key that can be read.
KeyReference keyOf(const Value& answer, KeyPart part) {
  const auto* const object = answer.get<ObjectPointer>();
  const auto* const item =
      object != nullptr ? dynamic_cast<const platform::ItemReference*>(object->get()) : nullptr;
  return item != nullptr ? rsaKeyOfPkcs1(item->secret(), part) : nullptr;
}

std::int32_t added(Dictionary item) {
  const std::int32_t status = store().add(item).status;
  wipeSecret(item);
  return status;
}

}  // namespace

Dictionary anyKeyQuery(DataView tag) {
  return {{std::string(kSecClass), kSecClassKey},
          {std::string(kSecAttrApplicationTag), copyOf(tag)}};
}

Dictionary keyQuery(DataView tag) {
  Dictionary query = anyKeyQuery(tag);
  query.set(kSecAttrKeyType, kSecAttrKeyTypeRSA);
  return query;
}

std::int32_t addKeyPair(const CryptoKey& privateKey, DataView publicTag, DataView privateTag) {
  const KeyReference publicKey = publicHalfOf(privateKey);
  std::optional<Data> secret = externalRepresentation(&privateKey);
  std::optional<Data> numbers = externalRepresentation(publicKey.get());
  const std::optional<Data> label = numbers ? digestOf(DigestKind::Sha1, *numbers) : std::nullopt;
  if (!secret || !label) return item_status::kParameter;
  std::int32_t status = added(halfOf(KeyPart::Private, privateTag, *std::move(secret), *label));
  if (status != item_status::kSuccess) return status;
  status = added(halfOf(KeyPart::Public, publicTag, *std::move(numbers), *label));
  if (status != item_status::kSuccess) {
    Dictionary lonely = keyQuery(privateTag);
    lonely.set(kSecAttrApplicationLabel, *label);
    (void)store().remove(lonely);
  }
  return status;
}

KeyReference findKey(Dictionary query, KeyPart part) {
  query.set(kSecReturnRef, true);
  return keyOf(store().copyMatching(query).result, part);
}

std::vector<KeyReference> findKeys(Dictionary query, KeyPart part) {
  query.set(kSecReturnRef, true);
  query.set(kSecMatchLimit, kSecMatchLimitAll);
  const platform::ItemAnswer answer = store().copyMatching(query);
  std::vector<KeyReference> keys;
  if (const auto* const items = answer.result.get<List>())
    for (const Value& item : *items)
      if (KeyReference key = keyOf(item, part)) keys.push_back(std::move(key));
  return keys;
}

}  // namespace kelm
