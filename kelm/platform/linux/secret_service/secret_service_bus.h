#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "kelm/base/data.h"

namespace kelm::platform {

/// The calls on the Secret Service that an item store makes, synchronously, each for at most five
/// seconds. Statuses are those of the item store; after `kNotAvailable` the connection is to be
/// dropped. Items go by the paths of their objects. Not thread-safe.
class SecretServiceBus {
 public:
  using Attributes = std::map<std::string, std::string>;  // UTF-8 without NUL
  struct Found {
    std::vector<std::string> unlocked;  // the earliest first
    std::vector<std::string> locked;
  };

  SecretServiceBus();
  ~SecretServiceBus();
  SecretServiceBus(const SecretServiceBus&) = delete;
  SecretServiceBus& operator=(const SecretServiceBus&) = delete;

  std::int32_t open();
  /// The items that have all of the attributes.
  std::int32_t search(const Attributes& attributes, Found& found);
  /// The secrets of unlocked items; those that are gone by now are left out.
  std::int32_t secretsOf(const std::vector<std::string>& items, std::map<std::string, Data>& found);
  /// Makes an item in the default collection. `replaces`: in place of one with equal attributes.
  std::int32_t create(const std::string& label, const Attributes& attributes, DataView secret,
                      bool replaces, std::string& item);
  /// Success too when it is gone already.
  std::int32_t remove(const std::string& item);

 private:
  struct Connection;
  std::unique_ptr<Connection> connection_;
};

}  // namespace kelm::platform
