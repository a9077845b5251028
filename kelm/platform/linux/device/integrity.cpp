#include "kelm/platform/device_services/integrity.h"

#include <link.h>
#include <sys/stat.h>

#include <cstdlib>
#include <string_view>
#include <utility>

#include "kelm/platform/linux/device/services.h"
#include "kelm/platform/linux/device/small_file.h"

namespace kelm::platform {

namespace {

class ProcessIntegrity : public Integrity {
 public:
  explicit ProcessIntegrity(std::string root) : root_(std::move(root)) {}

  std::vector<std::string> findings() const override {
    std::vector<std::string> found;
    if (isTraced()) found.emplace_back("traced");
    if (isPreloaded()) found.emplace_back("preloaded");
    for (const std::string& file : ownFiles())
      if (isWritableByOthers(file)) found.push_back("writable:" + file);
#ifndef NDEBUG
    found.emplace_back("debug-build");
#endif
    return found;
  }

 private:
  bool isTraced() const {
    constexpr std::string_view kField = "\nTracerPid:\t";
    const std::string text = readSmallFile(root_ + "/proc/self/status").value_or("");
    const std::size_t at = text.find(kField);
    return at != text.npos && text.compare(at + kField.size(), 2, "0\n") != 0;
  }

  bool isPreloaded() const {
    const char* libraries = std::getenv("LD_PRELOAD");
    return (libraries != nullptr && *libraries != '\0') ||
           readFirstLine(root_ + "/etc/ld.so.preload");
  }

  /// The program and the libraries of ours that it has loaded.
  std::vector<std::string> ownFiles() const {
    std::vector<std::string> files = {root_ + "/proc/self/exe"};
    dl_iterate_phdr(
        [](dl_phdr_info* module, std::size_t, void* list) {
          const std::string_view path = module->dlpi_name;
          if (path.substr(path.rfind('/') + 1).starts_with("libkelm_"))
            static_cast<std::vector<std::string>*>(list)->emplace_back(path);
          return 0;
        },
        &files);
    return files;
  }

  static bool isWritableByOthers(const std::string& file) {
    struct stat status;
    if (stat(file.c_str(), &status) != 0) return false;
    const bool byGroup = (status.st_mode & S_IWGRP) != 0 && status.st_gid != 0;
    return byGroup || (status.st_mode & S_IWOTH) != 0;
  }

  const std::string root_;
};

}  // namespace

std::shared_ptr<Integrity> makeIntegrity(std::string root) {
  return std::make_shared<ProcessIntegrity>(std::move(root));
}

std::shared_ptr<Integrity> Integrity::makeSystem() { return makeIntegrity(""); }

}  // namespace kelm::platform
