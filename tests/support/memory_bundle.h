#pragma once

#include <utility>

#include "kelm/base/mutex.h"
#include "kelm/platform/bundle.h"

namespace kelm::test {

/// An installed application without a description, whose identifier the test may set.
class MemoryBundle : public platform::Bundle {
 public:
  std::optional<std::string> identifier() const override {
    const Lock lock(mutex_);
    return identifier_;
  }
  std::string path() const override { return "/app"; }
  std::optional<Value> info(std::string_view) const override { return std::nullopt; }

  void setIdentifier(std::optional<std::string> identifier) {
    const Lock lock(mutex_);
    identifier_ = std::move(identifier);
  }

 private:
  mutable Mutex mutex_;
  std::optional<std::string> identifier_ KELM_GUARDED_BY(mutex_) = "com.example.till";
};

}  // namespace kelm::test
