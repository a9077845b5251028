#pragma once

#include <utility>

#include "kelm/base/mutex.h"
#include "kelm/platform/bundle.h"

namespace kelm::test {

/// An installed application; its identifier and its description are the test's to set.
class MemoryBundle : public platform::Bundle {
 public:
  std::optional<std::string> identifier() const override {
    const Lock lock(mutex_);
    return identifier_;
  }
  std::string path() const override { return "/app"; }
  std::optional<Value> info(std::string_view key) const override {
    const Lock lock(mutex_);
    const Value* value = info_.find(key);
    return value != nullptr ? std::optional(*value) : std::nullopt;
  }

  void setIdentifier(std::optional<std::string> identifier) {
    const Lock lock(mutex_);
    identifier_ = std::move(identifier);
  }
  void setInfo(std::string_view key, Value value) {
    const Lock lock(mutex_);
    info_.set(key, std::move(value));
  }

 private:
  mutable Mutex mutex_;
  std::optional<std::string> identifier_ KELM_GUARDED_BY(mutex_) = "com.example.till";
  Dictionary info_ KELM_GUARDED_BY(mutex_);
};

}  // namespace kelm::test
