#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

#include "kelm/base/export.h"

namespace kelm {

/// How a cache takes a key: text without owning it, anything else by reference.
template <class Key>
using CacheKeyView =
    std::conditional_t<std::is_same_v<Key, std::string>, std::string_view, const Key&>;

/// Keeps objects by key for as long as it likes. Equal keys address the same object.
template <class Object, class Key = std::string>
class KELM_API VaspCache {
 public:
  virtual ~VaspCache() = default;
  /// `objectForKey:` A copy of the object; absent when the cache has none for the key.
  virtual std::optional<Object> objectForKey(CacheKeyView<Key> key) = 0;
  /// `setObject:forKey:` Keeps the object in place of an earlier one of that key. False when the
  /// cache refuses it.
  virtual bool setObject_forKey(Object object, CacheKeyView<Key> key) = 0;
  /// `removeObjectForKey:` Does nothing when the key has no object.
  virtual void removeObjectForKey(CacheKeyView<Key> key) = 0;
  /// `removeAllObjects`
  virtual void removeAllObjects() = 0;
  /// `drain` Gives up what the cache can do without.
  virtual void drain() = 0;
};

}  // namespace kelm
