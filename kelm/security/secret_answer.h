#pragma once

#include <utility>

#include "kelm/base/value.h"
#include "kelm/base/wipe.h"
#include "kelm/platform/items/item_attributes.h"

namespace kelm {

/// Overwrites the secrets of a store's answer or query: bytes, those under `kSecValueData`, and
/// those of a list.
inline void wipeSecrets(Value& value) {
  if (auto* bytes = value.get<Data>()) wipe(*bytes);
  if (auto* item = value.get<Dictionary>())
    if (Value* secret = item->find(kSecValueData)) wipeSecrets(*secret);
  if (auto* list = value.get<List>())
    for (Value& entry : *list)
      wipeSecrets(entry);
}

/// Holds what may contain secrets, and wipes them at its end.
class SecretValue {
 public:
  explicit SecretValue(Value value) : value_(std::move(value)) {}
  ~SecretValue() { wipeSecrets(value_); }
  SecretValue(const SecretValue&) = delete;
  SecretValue& operator=(const SecretValue&) = delete;

  Value& operator*() { return value_; }
  Value* operator->() { return &value_; }

 private:
  Value value_;
};

}  // namespace kelm
