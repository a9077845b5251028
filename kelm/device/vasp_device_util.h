#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kelm/base/export.h"
#include "kelm/base/value.h"
#include "kelm/platform/graphics/geometry.h"

namespace kelm {

/// Answers questions about the device that the application runs on. The model and the performance
/// level are kept until the application leaves the foreground: the notifications
/// "UIApplicationDidEnterBackgroundNotification" and "UIApplicationWillResignActiveNotification"
/// reset them. Nothing is logged or raised. Thread-safe. What asks a service of the system may wait
/// for it: a carrier 500 ms, a watch 600 ms.
class KELM_API VaspDeviceUtil {
 public:
  VaspDeviceUtil() = delete;

  /// `resetCache` Forgets the model and the performance level.
  static void resetCache();
  /// `dump` For diagnosis: "physical_screen_height" and "physical_screen_width" in pixels, whole;
  /// "network_mode"; "has_internet_connection"; and "is_intact", the text "true" or "false" of the
  /// last `isJailbroken`, "unknown" before the first.
  static Dictionary dump();
  /// `areWeBeingUnitTested`
  static bool areWeBeingUnitTested();

  /// `getScreenScale` Pixels a point; 1 without a screen.
  static double getScreenScale();
  /// `screenSize` In points; 0 x 0 without a screen.
  static Size screenSize();
  /// `screenSizeWithoutStatusbar` In points; 0 x 0 without a screen.
  static Size screenSizeWithoutStatusbar();
  /// `heightOfTheStatusBar` In points, as the host's application object of
  /// `KelmCoreAppExposedHooks` says; 0 without one.
  static double heightOfTheStatusBar();

  /// `ramAmount` Physical memory in MiB, its lowest 32 bits, as a decimal number.
  static std::string ramAmount();
  /// `hasAppleWatchPaired` False too where watches are not supported.
  static bool hasAppleWatchPaired();
  /// `isAtLeastiOS10`
  static bool isAtLeastiOS10();
  /// `isAtLeastiOS11`
  static bool isAtLeastiOS11();
  /// `isIpadDevice` True for a tablet.
  static bool isIpadDevice();
  /// `isJailbroken` True if `integrityFindings` has any; kept for `dump`.
  static bool isJailbroken();
  /// The reasons of `isJailbroken`, by the names of `platform::Integrity`. They tell of accidents
  /// and the curious; whoever is root can hide from them.
  static std::vector<std::string> integrityFindings();

  /// `getCarrierInfo` Network code, country code and carrier name, joined by "_". In each, what is
  /// no letter or digit of ASCII becomes "_"; one that is missing or empty is "-".
  static std::string getCarrierInfo();
  /// `getMainOSVersion` The number that the system's version begins with, else 0. The version is
  /// read once in the process.
  static std::int32_t getMainOSVersion();
  /// `isSystemAtLeastVersion:subversion:revision:` Compares from the first number on; an argument
  /// of 0 skips its number, so (0, 5, 0) is false on "9.3".
  static bool isSystemAtLeastVersion_subversion_revision(std::int32_t version,
                                                         std::int32_t subversion,
                                                         std::int32_t revision);
  /// `getModel` The hardware's name with "_" for each of < > " % ; ( ) & + | CR LF; "-" without
  /// one.
  static std::string getModel();

  /// `getConnectionType` "none", "wifi", "cell" or "other".
  static std::string getConnectionType();
  /// `hasInternetConnection`
  static bool hasInternetConnection();

  /// `currentDeviceLevel` 0 to 10: 7 for a simulator and for a model "x86_64" or "i386", else the
  /// number that the model has after "iPad", "iPhone" or "iPod", or begins with.
  static std::int32_t currentDeviceLevel();
  /// `canBlur` True for a level above 4.
  static bool canBlur();

  /// Forgets what is kept for the life of the process as well, for the tests of a host.
  static void forgetAll();
};

}  // namespace kelm
