#pragma once

#include <utility>

#include "kelm/base/json.h"
#include "kelm/base/mutex.h"
#include "kelm/platform/user_defaults.h"
#include "tests/support/fault_ladder.h"

namespace kelm::test {

/// Settings in memory. Every call counts for the fault ladder.
class MemoryUserDefaults : public platform::UserDefaults, public FaultLadder {
 public:
  std::optional<Value> object(std::string_view key) const override {
    if (nextCall() != 0) return std::nullopt;
    const Lock lock(mutex_);
    const Value* value = values_.find(key);
    return value != nullptr ? std::optional(*value) : std::nullopt;
  }

  Failure setObject(std::string_view key, Value value) override {
    if (const int error = nextCall()) return posixError(error);
    const Lock lock(mutex_);
    if (value.isNull()) {
      values_.remove(key);
      return {};
    }
    if (!writeJson(List{value}))
      return Error::make(error_domain::kFormat, 0, "The value has no form in JSON.");
    values_.set(key, std::move(value));
    return {};
  }

 private:
  mutable Mutex mutex_;
  Dictionary values_ KELM_GUARDED_BY(mutex_);
};

}  // namespace kelm::test
