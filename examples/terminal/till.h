#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "terminal/courier.h"
#include "terminal/sale.h"
#include "terminal/screen.h"

namespace terminal {

/// Keeps sales on the disk until the acquirer has them. One till a data folder at a time.
class Till {
 public:
  struct Settings {
    std::string dataFolder;  ///< absolute
    std::string acquirerUrl;
    std::string locale;  ///< how amounts are typed
  };

  Till(Settings settings, Screen& screen);

  /// Opens the queue, whose key it keeps in the keychain and makes on first use; says what went
  /// wrong.
  bool open();
  /// Keeps one sale. True once it would survive a loss of power. False when it could not be
  /// kept, or when as many sales wait as the queue holds: deliver first.
  bool take(const Sale& sale);
  /// How many sales wait for delivery.
  std::size_t waiting() const;
  bool full() const;
  /// True when the sale of that line is among those that wait.
  bool holds(std::string_view line) const;
  /// Delivers until nothing waits; tries again, ever slower, until `patience` has passed without
  /// a delivery. True when nothing waits any more.
  bool deliver(std::chrono::milliseconds patience);

  /// How many lines of a file of sales were taken already, kept over restarts.
  std::size_t linesTaken(const std::string& file) const;
  bool setLinesTaken(const std::string& file, std::size_t lines);

 private:
  bool loadKey();

  Settings settings_;
  Screen& screen_;
  std::string queueFolder_;
  std::shared_ptr<Courier> courier_;
};

}  // namespace terminal
