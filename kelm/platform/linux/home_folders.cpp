#include "kelm/platform/home_folders.h"

#include <utility>

#include "kelm/platform/bundle.h"
#include "kelm/platform/linux/environment.h"
#include "kelm/platform/linux/services.h"

namespace kelm::platform {

namespace {

class XdgHomeFolders : public HomeFolders {
 public:
  explicit XdgHomeFolders(const std::string& application)
      : data_(xdgFolder("XDG_DATA_HOME", ".local/share")),
        home_(data_ + '/' + application),
        caches_(xdgFolder("XDG_CACHE_HOME", ".cache") + '/' + application) {}

  std::string home() const override { return home_; }
  std::string documents() const override { return home_ + "/Documents"; }
  std::string caches() const override { return caches_; }
  std::string applicationSupport() const override { return home_ + "/Library/Application Support"; }
  std::string library() const override { return home_ + "/Library"; }

  std::optional<std::string> groupContainer(std::string_view identifier) const override {
    if (!isFolderName(identifier) || identifier.find("..") != std::string_view::npos)
      return std::nullopt;
    return data_ + "/groups/" + std::string(identifier);
  }

 private:
  const std::string data_;
  const std::string home_;
  const std::string caches_;
};

}  // namespace

std::shared_ptr<HomeFolders> makeHomeFolders(const std::shared_ptr<Bundle>& bundle) {
  return std::make_shared<XdgHomeFolders>(bundle->identifier().value_or("local"));
}

}  // namespace kelm::platform
