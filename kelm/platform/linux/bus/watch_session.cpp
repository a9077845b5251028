#include "kelm/platform/device_services/watch_session.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <utility>

#include "kelm/base/mutex.h"
#include "kelm/platform/linux/bus/managed_objects.h"
#include "kelm/platform/process.h"

namespace kelm::platform {

namespace {

/// A bus that never answers has cost the caller this much once it is taken for absent.
constexpr Duration kLimit = std::chrono::milliseconds(300);

std::optional<std::vector<Dictionary>> objectsWith(std::string_view interface) {
  return managedObjects("org.bluez", "/", interface, kLimit);
}

/// By the Bluetooth assigned numbers: appearance category 3, watch; else major class 7, wearable,
/// with minor class 1, wrist watch.
bool isPairedWatch(const Dictionary& device) {
  if (numberProperty(device, "Paired") == 0) return false;
  const std::int64_t deviceClass = numberProperty(device, "Class");
  return numberProperty(device, "Appearance") >> 6 == 3 ||
         ((deviceClass >> 8 & 0x1F) == 7 && (deviceClass >> 2 & 0x3F) == 1);
}

class BluetoothWatchSession : public WatchSession {
 public:
  bool isSupported() const override {
    const auto adapters = objectsWith("org.bluez.Adapter1");
    return adapters && !adapters->empty();
  }
  void setDelegate(std::shared_ptr<WatchSessionDelegate> delegate) override {
    const Lock lock(mutex_);
    delegate_ = std::move(delegate);
  }
  void activate() override {
    startThread("kelm-watch", [state = state_] {
      const auto adapters = objectsWith("org.bluez.Adapter1");
      const bool isOn =
          adapters && std::any_of(adapters->begin(), adapters->end(), [](const Dictionary& a) {
            return numberProperty(a, "Powered") != 0;
          });
      *state = isOn ? kActivated : 0;
    });
  }
  std::int64_t activationState() const override { return *state_; }
  bool isPaired() const override {
    const auto devices = objectsWith("org.bluez.Device1");
    return devices && std::any_of(devices->begin(), devices->end(), isPairedWatch);
  }

 private:
  const std::shared_ptr<std::atomic<std::int64_t>> state_ =
      std::make_shared<std::atomic<std::int64_t>>(0);
  Mutex mutex_;
  std::shared_ptr<WatchSessionDelegate> delegate_ KELM_GUARDED_BY(mutex_);
};

}  // namespace

std::shared_ptr<WatchSession> WatchSession::makeSystem() {
  return std::make_shared<BluetoothWatchSession>();
}

}  // namespace kelm::platform
