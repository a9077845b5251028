#include <string>
#include <utility>

#include "kelm/base/error.h"
#include "kelm/base/mutex.h"
#include "kelm/base/wipe.h"
#include "kelm/crypto/crypto_key.h"
#include "kelm/crypto/key_items.h"
#include "kelm/crypto/rsa_numbers.h"
#include "kelm/crypto/vasp_rsa.h"
#include "kelm/logging/vasp_logger.h"
#include "kelm/platform/items/item_store.h"

// The part of VaspRSA that works with the item store.
namespace kelm {

namespace {

using platform::ItemStore;

ItemStore& store() { return *platform::current<platform::ItemStore>(); }

Data publicTag(std::string_view identifier) { return dataOf(std::string(identifier) + "_pub"); }
Data privateTag(std::string_view identifier) { return dataOf(std::string(identifier) + "_priv"); }

}  // namespace

bool VaspRSA::generateKeyPairWithID_size(std::string_view identifier, std::int32_t sizeBits) {
  KeyReference key = newRsaKey(sizeBits);
  const std::int32_t status = key ? addKeyPair(*key, publicTag(identifier), privateTag(identifier))
                                  : item_status::kParameter;
  if (status != item_status::kSuccess) {
    VaspLogger::logwithLevel_aspect_from_message(
        log_level::kError, log_aspect::kFrontend | log_aspect::kCrypto,
        "-[VaspRSA generateKeyPairWithID:size:]", "Error generating keypair %@",
        Error::make(ItemStore::kStatusDomain, status, platform::sentenceOfItemStatus(status)));
    return false;
  }
  publicKey_ = publicHalfOf(*key);
  privateKey_ = std::move(key);
  return true;
}

bool VaspRSA::readKeyPairWithID(std::string_view identifier) {
  const auto privateKeys = findKeys(keyQuery(privateTag(identifier)), KeyPart::Private);
  if (privateKeys.empty()) return false;
  const auto publicKeys = findKeys(keyQuery(publicTag(identifier)), KeyPart::Public);
  // A generation or deletion that was killed halfway leaves a half without its partner.
  for (const KeyReference& privateKey : privateKeys)
    for (const KeyReference& publicKey : publicKeys)
      if (isPublicHalfOf(*publicKey, *privateKey)) {
        privateKey_ = privateKey;
        publicKey_ = publicKey;
        return true;
      }
  return false;
}

bool VaspRSA::deleteKeyPairWithID(std::string_view identifier) {
  // Both, whatever becomes of the first.
  const std::int32_t publicStatus = store().remove(anyKeyQuery(publicTag(identifier)));
  const std::int32_t privateStatus = store().remove(anyKeyQuery(privateTag(identifier)));
  return publicStatus == item_status::kSuccess && privateStatus == item_status::kSuccess;
}

std::optional<Data> VaspRSA::legacy_serializeSecKey(const KeyReference& key) {
  using namespace std::string_view_literals;
  constexpr std::string_view kTag = "temp.publickey\0"sv;
  std::optional<Data> bytes = externalRepresentation(key.get());
  if (!bytes) return std::nullopt;
  Dictionary item = keyQuery(bytesOf(kTag));
  item.set(kSecValueData, *std::move(bytes));
  item.set(kSecReturnData, true);
  // One tag serves all keys: nobody else's item may stand there meanwhile.
  static Mutex& mutex = *new Mutex;
  const Lock lock(mutex);
  platform::ItemAnswer answer = store().add(item);
  wipe(*item.find(kSecValueData)->get<Data>());
  if (answer.status != item_status::kSuccess) return std::nullopt;
  (void)store().remove(keyQuery(bytesOf(kTag)));
  Data* const stored = answer.result.get<Data>();
  return stored != nullptr ? std::optional(std::move(*stored)) : std::nullopt;
}

}  // namespace kelm
