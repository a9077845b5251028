#pragma once

#include <memory>
#include <optional>
#include <utility>

#include "kelm/base/data.h"
#include "kelm/base/mutex.h"
#include "kelm/base/wipe.h"

namespace kelm {

/// Bytes that are overwritten when they are dropped.
class SecretData {
 public:
  explicit SecretData(DataView bytes) : bytes_(bytes.begin(), bytes.end()) {}
  ~SecretData() { wipe(bytes_); }
  SecretData(const SecretData&) = delete;
  SecretData& operator=(const SecretData&) = delete;

  DataView bytes() const { return bytes_; }

 private:
  Data bytes_;
};

using SecretPointer = std::shared_ptr<const SecretData>;

inline SecretPointer makeSecret(std::optional<DataView> bytes) {
  return bytes ? std::make_shared<const SecretData>(*bytes) : nullptr;
}
inline std::optional<DataView> viewOf(const SecretPointer& secret) {
  return secret ? std::optional<DataView>(secret->bytes()) : std::nullopt;
}
inline std::optional<Data> copyOf(const SecretPointer& secret) {
  if (!secret) return std::nullopt;
  return Data(secret->bytes().begin(), secret->bytes().end());
}

/// A secret that may be absent, read and replaced by any thread. A reader keeps what it read.
class SecretCell {
 public:
  SecretPointer get() const {
    const Lock lock(mutex_);
    return secret_;
  }
  void set(std::optional<DataView> bytes) {
    SecretPointer next = makeSecret(bytes);
    const Lock lock(mutex_);
    secret_.swap(next);
  }

 private:
  mutable Mutex mutex_;
  SecretPointer secret_ KELM_GUARDED_BY(mutex_);
};

}  // namespace kelm
