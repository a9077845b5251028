#include "kelm/platform/device_services/telephony.h"

#include <algorithm>
#include <chrono>

#include "kelm/platform/linux/bus/managed_objects.h"

namespace kelm::platform {

namespace {

constexpr Duration kLimit = std::chrono::milliseconds(500);
constexpr std::size_t kCountryDigits = 3;

/// ModemManager's states "home" and "roaming".
bool isRegistered(const Dictionary& modem) {
  const std::int64_t state = numberProperty(modem, "RegistrationState");
  return state == 1 || state == 5;
}

class ModemTelephony : public Telephony {
 public:
  Carrier carrier() const override {
    const auto modems =
        managedObjects("org.freedesktop.ModemManager1", "/org/freedesktop/ModemManager1",
                       "org.freedesktop.ModemManager1.Modem.Modem3gpp", kLimit);
    if (!modems) return {};
    const auto modem = std::find_if(modems->begin(), modems->end(), isRegistered);
    if (modem == modems->end()) return {};
    Carrier carrier{{}, {}, textProperty(*modem, "OperatorName")};
    const auto code = textProperty(*modem, "OperatorCode");
    const bool isCode = code && code->size() > kCountryDigits &&
                        code->find_first_not_of("0123456789") == code->npos;
    if (isCode) {
      carrier.mobileCountryCode = code->substr(0, kCountryDigits);
      carrier.mobileNetworkCode = code->substr(kCountryDigits);
    }
    return carrier;
  }
};

}  // namespace

std::shared_ptr<Telephony> Telephony::makeSystem() { return std::make_shared<ModemTelephony>(); }

}  // namespace kelm::platform
