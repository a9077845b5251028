#pragma once

#include <utility>

#include "kelm/base/coding/json.h"
#include "kelm/base/export.h"
#include "kelm/base/mutex.h"
#include "kelm/platform/user_defaults.h"

namespace kelm::testing {

/// Settings in memory.
class KELM_API MemoryUserDefaults : public platform::UserDefaults {
 public:
  std::optional<Value> object(std::string_view key) const override {
    const Lock lock(mutex_);
    const Value* value = values_.find(key);
    return value != nullptr ? std::optional(*value) : std::nullopt;
  }

  Failure setObject(std::string_view key, Value value) override {
    if (!writeJson(List{value}))
      return Error::make(error_domain::kFormat, 0, "The value has no form in JSON.");
    const Lock lock(mutex_);
    if (value.isNull())
      values_.remove(key);
    else
      values_.set(key, std::move(value));
    return {};
  }

 private:
  mutable Mutex mutex_;
  Dictionary values_ KELM_GUARDED_BY(mutex_);
};

}  // namespace kelm::testing
