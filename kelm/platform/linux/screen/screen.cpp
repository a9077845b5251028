#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "kelm/platform/linux/screen/services.h"

namespace kelm::platform {

namespace {

std::string firstLine(const std::string& path) {
  std::string line;
  std::getline(std::ifstream(path), line);
  return line;
}

/// "1920x1080" as the kernel prints a mode.
std::optional<Size> sizeOfMode(const std::string& mode) {
  unsigned width = 0;
  unsigned height = 0;
  const char* const end = mode.data() + mode.size();
  const auto first = std::from_chars(mode.data(), end, width);
  if (first.ec != std::errc{} || first.ptr == end || *first.ptr != 'x') return std::nullopt;
  if (std::from_chars(first.ptr + 1, end, height).ec != std::errc{}) return std::nullopt;
  if (width == 0 || height == 0) return std::nullopt;
  return Size{static_cast<double>(width), static_cast<double>(height)};
}

/// The first connector that has a screen, in its preferred mode. The kernel knows neither scale nor
/// rotation: those are the display server's.
class ConnectorScreen : public Screen {
 public:
  explicit ConnectorScreen(std::string root) : folder_(std::move(root) + "/sys/class/drm") {}

  ScreenInfo mainScreen() const override {
    std::error_code problem;
    std::vector<std::string> connectors;
    for (auto at = std::filesystem::directory_iterator(folder_, problem);
         !problem && at != std::filesystem::directory_iterator(); at.increment(problem))
      connectors.push_back(at->path().string());
    std::sort(connectors.begin(), connectors.end());
    for (const std::string& connector : connectors) {
      if (firstLine(connector + "/status") != "connected") continue;
      if (const auto size = sizeOfMode(firstLine(connector + "/modes")))
        return {*size, 1, {0, 0, size->width, size->height}, *size};
    }
    return {};
  }

 private:
  const std::string folder_;
};

}  // namespace

std::shared_ptr<Screen> makeScreen(std::string root) {
  return std::make_shared<ConnectorScreen>(std::move(root));
}

std::shared_ptr<Screen> Screen::makeSystem() { return makeScreen(""); }

}  // namespace kelm::platform
