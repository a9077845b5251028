#include "kelm/platform/linux/secret_service/secret_service_bus.h"

#ifdef KELM_HAVE_SDBUS
#include <sdbus-c++/sdbus-c++.h>

#include <algorithm>
#include <chrono>
#include <utility>

#include "kelm/base/wipe.h"
#include "kelm/platform/items/item_attributes.h"

namespace kelm::platform {

namespace {

using Path = sdbus::ObjectPath;
using Secret = sdbus::Struct<Path, Data, Data, std::string>;  // session, parameters, value, type

constexpr std::chrono::seconds kTimeLimit{5};
constexpr const char* kDestination = "org.freedesktop.secrets";
constexpr const char* kServicePath = "/org/freedesktop/secrets";
constexpr const char* kService = "org.freedesktop.Secret.Service";
constexpr const char* kNoObject = "/";

std::int32_t statusOf(const sdbus::Error& error) {
  if (error.getName() == "org.freedesktop.Secret.Error.IsLocked")
    return item_status::kInteractionNotAllowed;
  for (const char* gone :
       {"org.freedesktop.Secret.Error.NoSuchObject", "org.freedesktop.DBus.Error.UnknownMethod",
        "org.freedesktop.DBus.Error.UnknownObject"})
    if (error.getName() == gone) return item_status::kItemNotFound;
  return item_status::kNotAvailable;
}

template <class Work>
std::int32_t guarded(const Work& work) {
  try {
    return work();
  } catch (const sdbus::Error& error) {
    return statusOf(error);
  }
}

/// Paths in the order in which the service counted them up.
std::vector<std::string> inOrder(const std::vector<Path>& paths) {
  std::vector<std::string> result(paths.begin(), paths.end());
  std::sort(result.begin(), result.end(), [](const std::string& a, const std::string& b) {
    return std::pair(a.size(), std::string_view(a)) < std::pair(b.size(), std::string_view(b));
  });
  return result;
}

}  // namespace

struct SecretServiceBus::Connection {
  std::unique_ptr<sdbus::IConnection> bus = sdbus::createSessionBusConnection();
  std::unique_ptr<sdbus::IProxy> service = sdbus::createProxy(*bus, kDestination, kServicePath);
  Path session;

  std::unique_ptr<sdbus::IProxy> object(const std::string& path) const {
    return sdbus::createProxy(*bus, kDestination, path);
  }
  /// Nobody is to be asked: a call that wants a prompt has not been done.
  std::int32_t dismissed(const Path& prompt) const {
    if (prompt == kNoObject) return item_status::kSuccess;
    object(prompt)
        ->callMethod("Dismiss")
        .onInterface("org.freedesktop.Secret.Prompt")
        .withTimeout(kTimeLimit);
    return item_status::kInteractionNotAllowed;
  }
};

SecretServiceBus::SecretServiceBus() = default;
SecretServiceBus::~SecretServiceBus() = default;

std::int32_t SecretServiceBus::open() {
  const std::int32_t status = guarded([&] {
    auto connection = std::make_unique<Connection>();
    sdbus::Variant answer;
    connection->service->callMethod("OpenSession")
        .onInterface(kService)
        .withTimeout(kTimeLimit)
        .withArguments("plain", sdbus::Variant(std::string()))
        .storeResultsTo(answer, connection->session);
    connection_ = std::move(connection);
    return item_status::kSuccess;
  });
  return status == item_status::kSuccess ? status : item_status::kNotAvailable;
}

std::int32_t SecretServiceBus::search(const Attributes& attributes, Found& found) {
  return guarded([&] {
    std::vector<Path> unlocked;
    std::vector<Path> locked;
    connection_->service->callMethod("SearchItems")
        .onInterface(kService)
        .withTimeout(kTimeLimit)
        .withArguments(attributes)
        .storeResultsTo(unlocked, locked);
    found = {inOrder(unlocked), inOrder(locked)};
    return item_status::kSuccess;
  });
}

std::int32_t SecretServiceBus::secretsOf(const std::vector<std::string>& items,
                                         std::map<std::string, Data>& found) {
  if (items.empty()) return item_status::kSuccess;
  return guarded([&] {
    std::map<Path, Secret> secrets;
    connection_->service->callMethod("GetSecrets")
        .onInterface(kService)
        .withTimeout(kTimeLimit)
        .withArguments(std::vector<Path>(items.begin(), items.end()), connection_->session)
        .storeResultsTo(secrets);
    for (auto& [path, secret] : secrets)
      found[path] = std::move(secret.get<2>());
    return item_status::kSuccess;
  });
}

std::int32_t SecretServiceBus::create(const std::string& label, const Attributes& attributes,
                                      DataView secret, bool replaces, std::string& item) {
  return guarded([&] {
    Path collection;
    connection_->service->callMethod("ReadAlias")
        .onInterface(kService)
        .withTimeout(kTimeLimit)
        .withArguments("default")
        .storeResultsTo(collection);
    if (collection == kNoObject) return item_status::kNotAvailable;
    const std::map<std::string, sdbus::Variant> properties = {
        {"org.freedesktop.Secret.Item.Label", sdbus::Variant(label)},
        {"org.freedesktop.Secret.Item.Attributes", sdbus::Variant(attributes)}};
    Secret sent(connection_->session, Data(), Data(secret.begin(), secret.end()),
                "application/octet-stream");
    const std::int32_t status = guarded([&] {
      Path made;
      Path prompt;
      connection_->object(collection)
          ->callMethod("CreateItem")
          .onInterface("org.freedesktop.Secret.Collection")
          .withTimeout(kTimeLimit)
          .withArguments(properties, sent, replaces)
          .storeResultsTo(made, prompt);
      item = made;
      return connection_->dismissed(prompt);
    });
    wipe(sent.get<2>());
    return status == item_status::kItemNotFound ? item_status::kNotAvailable : status;
  });
}

std::int32_t SecretServiceBus::remove(const std::string& item) {
  const std::int32_t status = guarded([&] {
    Path prompt;
    connection_->object(item)
        ->callMethod("Delete")
        .onInterface("org.freedesktop.Secret.Item")
        .withTimeout(kTimeLimit)
        .storeResultsTo(prompt);
    return connection_->dismissed(prompt);
  });
  return status == item_status::kItemNotFound ? item_status::kSuccess : status;
}

}  // namespace kelm::platform
#endif
