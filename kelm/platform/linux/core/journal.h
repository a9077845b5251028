#pragma once

#include <span>
#include <string>
#include <string_view>

#include "kelm/platform/linux/files/system_call.h"

namespace kelm::platform {

/// Writes entries to the systemd journal by its native protocol: one datagram an entry, or one
/// descriptor of a sealed memory file where the entry is larger than a datagram may be.
/// Thread-safe.
class Journal {
 public:
  struct Field {
    std::string_view name;  ///< capitals, digits and "_"
    std::string_view value;
  };

  /// `path`: the journal's socket.
  explicit Journal(std::string path = kSocketPath);

  /// True where the journal's socket is there for us to write to.
  static bool isThere();
  /// Sends one entry. False when nobody took it: no journal, or one that did not read for 50 ms.
  bool send(std::span<const Field> fields) const;

  static constexpr const char* kSocketPath = "/run/systemd/journal/socket";

 private:
  bool sendDatagram(std::string_view entry) const;
  bool sendAsFile(std::string_view entry) const;

  const std::string path_;
  const Descriptor socket_;
};

}  // namespace kelm::platform
