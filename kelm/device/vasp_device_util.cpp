#include "kelm/device/vasp_device_util.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <optional>
#include <string_view>

#include "kelm/base/utf8.h"
#include "kelm/device/device_caches.h"
#include "kelm/device/internet_status.h"
#include "kelm/network/hooks/kelm_core_app_exposed_hooks.h"
#include "kelm/platform/device_services/device_facts.h"
#include "kelm/platform/device_services/integrity.h"
#include "kelm/platform/device_services/telephony.h"
#include "kelm/platform/device_services/watch_session.h"
#include "kelm/platform/graphics/screen.h"

namespace kelm {

namespace {

using platform::current;
using platform::DeviceFacts;

constexpr std::int32_t kHighestLevel = 10;
constexpr std::int32_t kSimulatorLevel = 7;

/// The number that a text begins with, after blanks; clamped to 32 bits, 0 when there is none.
std::int32_t leadingInteger(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t\n\r"), text.size()));
  const bool isNegative = text.starts_with('-');
  if (isNegative || text.starts_with('+')) text.remove_prefix(1);
  if (text.empty() || text[0] < '0' || text[0] > '9') return 0;
  std::int32_t number = 0;
  if (std::from_chars(text.data(), text.data() + text.size(), number).ec != std::errc{})
    return isNegative ? std::numeric_limits<std::int32_t>::min()
                      : std::numeric_limits<std::int32_t>::max();
  return isNegative ? -number : number;
}

std::string readModel() {
  constexpr std::string_view kReplaced = "<>\"%;()&+|\r\n";
  std::string model = current<DeviceFacts>()->machine().value_or("");
  for (char& c : model)
    if (kReplaced.find(c) != kReplaced.npos) c = '_';
  return model;
}

std::int32_t levelOf(std::string_view model) {
  std::string lower(model);
  for (char& c : lower)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  if (lower.find("simulator") != lower.npos || model == "x86_64" || model == "i386")
    return kSimulatorLevel;
  for (const std::string_view family : {"iPad", "iPhone", "iPod"}) {
    if (!model.starts_with(family)) continue;
    model.remove_prefix(family.size());
    break;
  }
  return std::clamp(leadingInteger(model.substr(0, model.find(','))), 0, kHighestLevel);
}

/// One "_" for a character that the carrier's text must not have.
std::string carrierPart(const std::optional<std::string>& text) {
  if (!text || text->empty()) return "-";
  std::string part;
  for (std::size_t at = 0; at < text->size();) {
    const char c = (*text)[at];
    const bool isKept = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
    part.push_back(isKept ? c : '_');
    at += std::max<std::size_t>(sequenceLength(*text, at), 1);
  }
  return part;
}

std::int64_t wholePixels(double size) { return Value(size).integer().value_or(0); }

platform::ScreenInfo screen() { return current<platform::Screen>()->mainScreen(); }

}  // namespace

void VaspDeviceUtil::resetCache() { deviceCaches().reset(); }

void VaspDeviceUtil::forgetAll() { deviceCaches().forgetAll(); }

Dictionary VaspDeviceUtil::dump() {
  const Size pixels = screen().nativeSize;
  return {{"physical_screen_height", wholePixels(pixels.height)},
          {"physical_screen_width", wholePixels(pixels.width)},
          {"network_mode", getConnectionType()},
          {"has_internet_connection", hasInternetConnection()},
          {"is_intact", deviceCaches().lastIntactCheck().value_or("unknown")}};
}

bool VaspDeviceUtil::areWeBeingUnitTested() { return current<DeviceFacts>()->isBeingUnitTested(); }

double VaspDeviceUtil::getScreenScale() { return screen().scale; }

Size VaspDeviceUtil::screenSize() { return screen().size; }

Size VaspDeviceUtil::screenSizeWithoutStatusbar() {
  const Rect frame = screen().applicationFrame;
  return {frame.width, frame.height};
}

double VaspDeviceUtil::heightOfTheStatusBar() {
  const auto application = KelmCoreAppExposedHooks::getInstance().sharedApplication();
  return application ? application->statusBarHeight() : 0;
}

std::string VaspDeviceUtil::ramAmount() {
  return std::to_string(static_cast<std::int32_t>(current<DeviceFacts>()->physicalMemory() >> 20));
}

bool VaspDeviceUtil::hasAppleWatchPaired() {
  const auto& session = current<platform::WatchSession>();
  return session->isSupported() && session->isPaired();
}

bool VaspDeviceUtil::isAtLeastiOS10() {
  return isSystemAtLeastVersion_subversion_revision(10, 0, 0);
}

bool VaspDeviceUtil::isAtLeastiOS11() {
  return isSystemAtLeastVersion_subversion_revision(11, 0, 0);
}

bool VaspDeviceUtil::isIpadDevice() { return current<DeviceFacts>()->isTablet(); }

bool VaspDeviceUtil::isJailbroken() {
  const bool isIntact = integrityFindings().empty();
  deviceCaches().keepIntactCheck(isIntact);
  return !isIntact;
}

std::vector<std::string> VaspDeviceUtil::integrityFindings() {
  return current<platform::Integrity>()->findings();
}

std::string VaspDeviceUtil::getCarrierInfo() {
  const platform::Carrier carrier = current<platform::Telephony>()->carrier();
  return carrierPart(carrier.mobileNetworkCode) + '_' + carrierPart(carrier.mobileCountryCode) +
         '_' + carrierPart(carrier.name);
}

std::int32_t VaspDeviceUtil::getMainOSVersion() {
  return leadingInteger(deviceCaches().systemVersion().front());
}

bool VaspDeviceUtil::isSystemAtLeastVersion_subversion_revision(std::int32_t version,
                                                                std::int32_t subversion,
                                                                std::int32_t revision) {
  const std::vector<std::string>& parts = deviceCaches().systemVersion();
  const std::array<std::int32_t, 2> wanted = {version, subversion};
  for (std::size_t i = 0; i < wanted.size() && i < parts.size(); ++i) {
    const std::int32_t has = leadingInteger(parts[i]);
    if (wanted[i] != 0 && has != wanted[i]) return has > wanted[i];
  }
  if (parts.size() < 3 || revision == 0) return true;
  return leadingInteger(parts[2]) >= revision;
}

std::string VaspDeviceUtil::getModel() {
  if (auto model = deviceCaches().model()) return *std::move(model);
  try {
    const std::string model = readModel();
    if (model.empty()) return "-";
    deviceCaches().keepModel(model);
    return model;
  } catch (...) {  // a service that a host wrote may throw anything
    return "-";
  }
}

std::string VaspDeviceUtil::getConnectionType() {
  constexpr std::array<const char*, 3> kNames = {"none", "wifi", "cell"};
  const auto status = static_cast<std::uint64_t>(internetStatus());
  return status < kNames.size() ? kNames[status] : "other";
}

bool VaspDeviceUtil::hasInternetConnection() { return internetStatus() != 0; }

std::int32_t VaspDeviceUtil::currentDeviceLevel() {
  if (const auto level = deviceCaches().level()) return *level;
  const std::int32_t level = levelOf(getModel());
  deviceCaches().keepLevel(level);
  return level;
}

bool VaspDeviceUtil::canBlur() { return currentDeviceLevel() > 4; }

}  // namespace kelm
