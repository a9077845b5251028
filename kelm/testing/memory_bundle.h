#pragma once

#include <utility>

#include "kelm/base/export.h"
#include "kelm/platform/bundle.h"

namespace kelm::testing {

/// An installed application; its identifier and its description are the test's to set, before
/// other threads look.
class KELM_API MemoryBundle : public platform::Bundle {
 public:
  std::optional<std::string> identifier() const override { return identifier_; }
  std::string path() const override { return "/app"; }
  std::optional<Value> info(std::string_view key) const override {
    const Value* value = info_.find(key);
    return value != nullptr ? std::optional(*value) : std::nullopt;
  }

  void setIdentifier(std::optional<std::string> identifier) { identifier_ = std::move(identifier); }
  void setInfo(std::string_view key, Value value) { info_.set(key, std::move(value)); }

 private:
  std::optional<std::string> identifier_ = "com.example.till";
  Dictionary info_;
};

}  // namespace kelm::testing
