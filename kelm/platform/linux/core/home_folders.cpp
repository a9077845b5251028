#include "kelm/platform/home_folders.h"

#include <utility>

#include "kelm/platform/bundle.h"
#include "kelm/platform/linux/core/environment.h"

namespace kelm::platform {

namespace {

class XdgHomeFolders : public HomeFolders {
 public:
  std::string home() const override { return ofApplication(data_); }
  std::string documents() const override { return home() + "/Documents"; }
  std::string caches() const override { return ofApplication(caches_); }
  std::string applicationSupport() const override {
    return home() + "/Library/Application Support";
  }
  std::string library() const override { return home() + "/Library"; }

  std::optional<std::string> groupContainer(std::string_view identifier) const override {
    if (!isFolderName(identifier) || identifier.find("..") != std::string_view::npos)
      return std::nullopt;
    return data_ + "/groups/" + std::string(identifier);
  }

 private:
  static std::string ofApplication(const std::string& folder) {
    return folder + '/' + current<Bundle>()->identifier().value_or("local");
  }

  const std::string data_ = xdgFolder("XDG_DATA_HOME", ".local/share");
  const std::string caches_ = xdgFolder("XDG_CACHE_HOME", ".cache");
};

}  // namespace

std::shared_ptr<HomeFolders> HomeFolders::makeSystem() {
  return std::make_shared<XdgHomeFolders>();
}

}  // namespace kelm::platform
