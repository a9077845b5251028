#pragma once

#include "kelm/base/export.h"
#include "kelm/platform/device_services/url_opener.h"

namespace kelm::testing {

/// Notes what was opened, and answers what the test says. Not thread-safe.
class KELM_API MemoryUrlOpener : public platform::UrlOpener {
 public:
  bool open(std::string_view url) override {
    opened.emplace_back(url);
    return succeeds;
  }

  std::vector<std::string> opened;
  bool succeeds = true;
};

}  // namespace kelm::testing
