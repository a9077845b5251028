#include "kelm/device/device_caches.h"

#include <utility>

#include "kelm/platform/application.h"
#include "kelm/platform/device_services/device_facts.h"

namespace kelm {

using platform::NotificationCenter;

namespace {

std::vector<std::string> splitAtPoints(const std::string& text) {
  std::vector<std::string> parts;
  std::size_t from = 0;
  for (std::size_t at; (at = text.find('.', from)) != text.npos; from = at + 1)
    parts.push_back(text.substr(from, at - from));
  parts.push_back(text.substr(from));
  return parts;
}

}  // namespace

DeviceCaches& deviceCaches() {
  static auto* const kCaches = new DeviceCaches;
  return *kCaches;
}

std::optional<std::string> DeviceCaches::model() const {
  const Lock lock(mutex_);
  return model_;
}

void DeviceCaches::keepModel(const std::string& model) {
  observeApplication();
  const Lock lock(mutex_);
  model_ = model;
}

std::optional<std::int32_t> DeviceCaches::level() const {
  const Lock lock(mutex_);
  return level_;
}

void DeviceCaches::keepLevel(std::int32_t level) {
  observeApplication();
  const Lock lock(mutex_);
  level_ = level;
}

void DeviceCaches::reset() {
  const Lock lock(mutex_);
  model_.reset();
  level_.reset();
}

std::optional<std::string> DeviceCaches::lastIntactCheck() const {
  const Lock lock(mutex_);
  if (!isIntact_) return std::nullopt;
  return *isIntact_ ? "true" : "false";
}

void DeviceCaches::keepIntactCheck(bool isIntact) {
  const Lock lock(mutex_);
  isIntact_ = isIntact;
}

const std::vector<std::string>& DeviceCaches::systemVersion() {
  const Lock lock(mutex_);
  if (systemVersion_.empty())
    systemVersion_ = splitAtPoints(platform::current<platform::DeviceFacts>()->systemVersion());
  return systemVersion_;
}

void DeviceCaches::forgetAll() {
  reset();
  const Lock lock(mutex_);
  isIntact_.reset();
  systemVersion_.clear();
}

void DeviceCaches::observeApplication() {
  // Registered when there is something to reset, not at start: a host may put its centre in place
  // late, and a process that never asks pays nothing.
  const std::shared_ptr<NotificationCenter>& center = platform::current<NotificationCenter>();
  decltype(registrations_) earlier;
  const Lock lock(observing_);
  if (center_.lock() == center) return;
  earlier.swap(registrations_);
  for (const std::string_view name :
       {platform::Application::kDidEnterBackground, platform::Application::kWillResignActive})
    registrations_.push_back(
        center->observe(name, [this](const platform::Notification&) { reset(); }));
  center_ = center;
}

}  // namespace kelm
