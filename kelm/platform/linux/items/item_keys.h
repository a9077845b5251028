#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "kelm/platform/linux/items/item_database.h"
#include "kelm/platform/linux/items/item_seal.h"

namespace kelm::platform {

/// The keys that seal items: one for each protection class, random, kept in the database sealed
/// under the master key, which is a file of 32 bytes that only its owner may read. To destroy the
/// key of a class is to destroy what it sealed. Not thread-safe. Statuses are those of the item
/// store.
class ItemKeys {
 public:
  /// `path`: the file of the master key.
  explicit ItemKeys(std::string path);

  /// Reads the master key, in a transaction. Makes one only for a database without keys: with any
  /// other master key its items would be lost unnoticed.
  std::int32_t load(ItemDatabase& database);
  const SealKey& master() const { return master_; }

  /// The key of a class and its number; made when there is none, in a transaction.
  std::int32_t keyOfClass(ItemDatabase& database, std::string_view protection, std::int64_t& number,
                          SealKey& key);
  /// Opens what the key of that number sealed; the caller wipes it. `kDecode` when there is no such
  /// key, or key, context or secret were tampered with.
  std::int32_t unseal(ItemDatabase& database, std::int64_t number, DataView sealed,
                      DataView context, Data& secret);
  /// Destroys the key of a class, in a transaction.
  std::int32_t destroy(ItemDatabase& database, std::string_view protection);

  /// Forgets what was read: the database, or a key in it, may be another one now.
  void forget() { known_.clear(); }

 private:
  std::int32_t make();
  std::int32_t read(ItemDatabase& database, std::int64_t number);
  std::int32_t openSealed(std::int64_t number, std::string_view protection, DataView sealed);

  const std::string path_;
  SealKey master_;
  struct ClassKey {
    SealKey key;
    Unsealer unsealer;
  };
  std::map<std::int64_t, ClassKey> known_;
};

/// Reads a key file: a regular file of the caller's with mode 0600 or less, and of the size of a
/// key. `kItemNotFound` when nothing is there; `kNotAvailable` for anything else.
std::int32_t readKeyFile(const std::string& path, SealKey& key);

}  // namespace kelm::platform
