#include "kelm/platform/user_defaults.h"

#include <cerrno>
#include <chrono>
#include <utility>

#include "kelm/base/coding/json.h"
#include "kelm/base/mutex.h"
#include "kelm/platform/bundle.h"
#include "kelm/platform/file_system.h"
#include "kelm/platform/linux/core/environment.h"

namespace kelm::platform {

namespace {

/// Two edits within a tick of the file system's clock may show the same date.
constexpr double kTickSeconds = 1;

double nowSeconds() {
  return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

class JsonUserDefaults : public UserDefaults {
 public:
  std::optional<Value> object(std::string_view key) const override {
    const Lock lock(mutex_);
    refresh();
    const Value* value = values_.find(key);
    return value != nullptr ? std::optional(*value) : std::nullopt;
  }

  Failure setObject(std::string_view key, Value value) override {
    const Lock lock(mutex_);
    if (Failure failure = refresh()) return failure;
    Dictionary changed = values_;
    if (value.isNull())
      changed.remove(key);
    else
      changed.set(key, std::move(value));
    const auto json = writeJson(changed, JsonStyle::Pretty);
    if (!json) return Error::make(error_domain::kFormat, 0, "The value has no form in JSON.");
    if (Failure failure = save(*json)) return failure;
    values_ = std::move(changed);
    return {};
  }

 private:
  /// Reads the file again if it may have changed. Fails when it is there but cannot be read.
  Failure refresh() const KELM_REQUIRES(mutex_) {
    const FileSystem& files = *current<FileSystem>();
    const std::string path = folder() + "/defaults.json";
    const auto status = files.status(path);
    if (status && path == path_ && isCurrent(*status)) return {};
    path_ = path;
    values_.clear();
    broken_.clear();
    read_.reset();
    if (!status) return status.error().code == ENOENT ? Failure() : Failure(status.error());
    const auto content = files.readFile(path);
    if (!content) return content.error();
    const auto parsed = parseJson(textOf(*content));
    if (parsed && parsed->get<Dictionary>() != nullptr)
      values_ = *parsed->get<Dictionary>();
    else
      broken_ = *content;
    if (nowSeconds() - status->modified.secondsSince1970 > kTickSeconds) read_ = *status;
    return {};
  }

  bool isCurrent(const FileStatus& status) const KELM_REQUIRES(mutex_) {
    return read_ && read_->modified == status.modified && read_->created == status.created &&
           read_->size == status.size;
  }

  Failure save(std::string_view json) KELM_REQUIRES(mutex_) {
    FileSystem& files = *current<FileSystem>();
    if (!broken_.empty())
      if (Failure failure = files.replaceFile(path_ + ".broken", broken_)) return failure;
    if (Failure failure = files.createDirectories(folder())) return failure;
    read_.reset();
    if (Failure failure = files.replaceFile(path_, bytesOf(json))) return failure;
    broken_.clear();
    return {};
  }

  std::string folder() const {
    return configuration_ + '/' + current<Bundle>()->identifier().value_or("local");
  }

  const std::string configuration_ = xdgFolder("XDG_CONFIG_HOME", ".config");
  mutable Mutex mutex_;
  mutable std::string path_ KELM_GUARDED_BY(mutex_);  // of what was read
  mutable Dictionary values_ KELM_GUARDED_BY(mutex_);
  mutable Data broken_ KELM_GUARDED_BY(mutex_);  // what the file holds when it is not JSON
  mutable std::optional<FileStatus> read_ KELM_GUARDED_BY(mutex_);  // absent: read again
};

}  // namespace

std::shared_ptr<UserDefaults> UserDefaults::makeSystem() {
  return std::make_shared<JsonUserDefaults>();
}

}  // namespace kelm::platform
