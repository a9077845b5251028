#include "kelm/device/bs_mobile_provision.h"

#include <string_view>
#include <utility>

#include "kelm/base/coding/property_list.h"
#include "kelm/base/mutex.h"
#include "kelm/platform/bundle.h"
#include "kelm/platform/file_system.h"

namespace kelm {

namespace {

struct Kept {
  Mutex mutex;
  std::optional<Dictionary> profile KELM_GUARDED_BY(mutex);
};

Kept& kept() {
  static auto* const kKept = new Kept;
  return *kKept;
}

/// The bytes of the property list inside of a profile; empty when it has none. They are what a
/// reading as ISO Latin-1 and back would give, so nothing is converted.
DataView propertyListIn(DataView file) {
  constexpr std::string_view kEnd = "</plist>";
  const std::string_view text = textOf(file);
  const std::size_t from = text.find("<plist");
  if (from == 0 || from == text.npos) return {};
  const std::size_t to = text.find(kEnd, from);
  if (to == text.npos) return {};
  return file.subspan(from, to - from + kEnd.size());
}

std::optional<Dictionary> readProfile() {
  const std::string path = platform::current<platform::Bundle>()->path();
  const auto& files = platform::current<platform::FileSystem>();
  const std::string file = path + "/embedded.mobileprovision";
  if (!files->exists(file)) return Dictionary();
  const Result<Data> content = files->readFile(file);
  if (!content) return std::nullopt;
  const DataView list = propertyListIn(*content);
  if (list.empty()) return std::nullopt;
  Result<Value> parsed = parsePropertyList(list);
  if (!parsed || parsed->get<Dictionary>() == nullptr) return std::nullopt;
  return std::move(*parsed->get<Dictionary>());
}

bool isTrue(const Dictionary& dictionary, std::string_view key) {
  const Value* value = dictionary.find(key);
  return value != nullptr && value->boolean().value_or(false);
}

}  // namespace

std::optional<Dictionary> BSMobileProvision::getMobileProvision() {
  const Lock lock(kept().mutex);
  if (!kept().profile) kept().profile = readProfile();
  return kept().profile;
}

ReleaseMode BSMobileProvision::releaseMode() {
  const std::optional<Dictionary> profile = getMobileProvision();
  if (!profile) return ReleaseMode::Unknown;
  if (isTrue(*profile, "ProvisionsAllDevices")) return ReleaseMode::Enterprise;
  const Value* devices = profile->find("ProvisionedDevices");
  const List* list = devices != nullptr ? devices->get<List>() : nullptr;
  if (list == nullptr || list->empty()) return ReleaseMode::AppStore;
  const Value* rights = profile->find("Entitlements");
  const Dictionary* entitlements = rights != nullptr ? rights->get<Dictionary>() : nullptr;
  return entitlements != nullptr && isTrue(*entitlements, "get-task-allow")
             ? ReleaseMode::Development
             : ReleaseMode::AdHoc;
}

void BSMobileProvision::forgetProfile() {
  const Lock lock(kept().mutex);
  kept().profile.reset();
}

}  // namespace kelm
