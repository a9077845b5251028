#include "kelm/platform/linux/bus/managed_objects.h"

#include <map>

namespace kelm::platform {

std::optional<std::vector<Dictionary>> managedObjects(const std::string& destination,
                                                      const std::string& path,
                                                      std::string_view interface, Duration limit) {
  const Result<Value> answer = callSystemBus(
      {destination, path, "org.freedesktop.DBus.ObjectManager", "GetManagedObjects"}, limit);
  const Dictionary* objects = answer ? answer->get<Dictionary>() : nullptr;
  if (objects == nullptr) return std::nullopt;
  std::map<std::string, Dictionary> found;
  for (const auto& [object, interfaces] : *objects) {
    const auto* byName = interfaces.get<Dictionary>();
    const Value* properties = byName != nullptr ? byName->find(interface) : nullptr;
    if (properties != nullptr && properties->get<Dictionary>() != nullptr)
      found.emplace(object, *properties->get<Dictionary>());
  }
  std::vector<Dictionary> inOrder;
  for (auto& [ignored, properties] : found)
    inOrder.push_back(std::move(properties));
  return inOrder;
}

std::optional<std::string> textProperty(const Dictionary& properties, std::string_view name) {
  const Value* value = properties.find(name);
  const auto text = value != nullptr ? value->text() : std::nullopt;
  if (!text) return std::nullopt;
  return std::string(*text);
}

std::int64_t numberProperty(const Dictionary& properties, std::string_view name) {
  const Value* value = properties.find(name);
  return value != nullptr ? value->integer().value_or(0) : 0;
}

}  // namespace kelm::platform
