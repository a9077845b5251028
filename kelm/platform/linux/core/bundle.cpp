#include "kelm/platform/bundle.h"

#include <unistd.h>

#include <array>
#include <climits>
#include <cstdlib>
#include <utility>

#include "kelm/base/coding/json.h"
#include "kelm/platform/file_system.h"
#include "kelm/platform/linux/core/environment.h"

namespace kelm::platform {

namespace {

/// The running program's file; empty where the system does not tell.
std::string executablePath() {
  std::array<char, PATH_MAX> buffer;
  const ssize_t size = readlink("/proc/self/exe", buffer.data(), buffer.size());
  return size > 0 ? std::string(buffer.data(), static_cast<std::size_t>(size)) : std::string();
}

/// "local.till" for the program ".../till"; absent when its name is not known.
std::optional<std::string> identifierOfExecutable(std::string_view path) {
  const std::string_view name = path.substr(path.rfind('/') + 1);
  if (name.empty()) return std::nullopt;
  std::string identifier = "local.";
  for (const char c : name) {
    const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                       c == '.' || c == '-' || c == '_';
    identifier.push_back(plain ? c : '-');
  }
  return identifier;
}

class FolderBundle : public Bundle {
 public:
  FolderBundle(std::string_view identifier, std::string path) : path_(std::move(path)) {
    while (path_.size() > 1 && path_.back() == '/')
      path_.pop_back();
    if (const auto file = FileSystem::makeSystem()->readFile(path_ + "/Info.json")) {
      const auto parsed = parseJson(textOf(*file));
      if (parsed && parsed->get<Dictionary>() != nullptr) info_ = *parsed->get<Dictionary>();
    }
    if (isFolderName(identifier)) identifier_ = identifier;
  }

  std::optional<std::string> identifier() const override { return identifier_; }
  std::string path() const override { return path_; }
  std::optional<Value> info(std::string_view key) const override {
    const Value* value = info_.find(key);
    return value != nullptr ? std::optional(*value) : std::nullopt;
  }

  /// Takes the first of these that can be one: the text of "bundleIdentifier", `other`.
  void identifyBy(std::optional<std::string> other) {
    if (identifier_) return;
    const Value* told = info_.find("bundleIdentifier");
    const auto text = told != nullptr ? told->text() : std::nullopt;
    if (text && isFolderName(*text))
      identifier_ = *text;
    else
      identifier_ = std::move(other);
  }

 private:
  std::string path_;
  Dictionary info_;
  std::optional<std::string> identifier_;
};

}  // namespace

std::shared_ptr<Bundle> Bundle::makeSystem() {
  const char* told = std::getenv("KELM_BUNDLE_ID");
  return makeBundle(told != nullptr ? told : "", "");
}

std::shared_ptr<Bundle> makeBundle(std::string_view identifier, std::string_view path) {
  const std::string executable = executablePath();
  if (path.empty()) path = std::string_view(executable).substr(0, executable.rfind('/'));
  auto bundle = std::make_shared<FolderBundle>(identifier, std::string(path.empty() ? "/" : path));
  bundle->identifyBy(identifierOfExecutable(executable));
  return bundle;
}

}  // namespace kelm::platform
