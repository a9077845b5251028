#include "kelm/platform/system_log.h"

#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <utility>

#include "kelm/platform/console.h"
#include "kelm/platform/linux/core/journal.h"

namespace kelm::platform {

namespace {

class JournalChannel : public SystemLog::Channel {
 public:
  JournalChannel(std::string_view subsystem, std::string_view category)
      : subsystem_(subsystem), category_(category) {}

  void write(std::string_view text) override {
    constexpr std::string_view kNotice = "5";
    const Journal::Field fields[] = {{"MESSAGE", text},
                                     {"SUBSYSTEM", subsystem_},
                                     {"CATEGORY", category_},
                                     {"SYSLOG_IDENTIFIER", subsystem_},
                                     {"PRIORITY", kNotice}};
    journal_.send(fields);
  }

 private:
  const Journal journal_;
  const std::string subsystem_;
  const std::string category_;
};

/// "subsystem [category] text"; the entry's own name stays what the host set with openlog().
std::string labelled(std::string_view subsystem, std::string_view category) {
  std::string label(subsystem);
  return label.append(" [").append(category).append("] ");
}

class SyslogChannel : public SystemLog::Channel {
 public:
  explicit SyslogChannel(std::string label) : label_(std::move(label)) {}

  void write(std::string_view text) override {
    std::string line = label_ + std::string(text);
    std::replace(line.begin(), line.end(), '\0', ' ');  // which would end the entry
    syslog(LOG_USER | LOG_NOTICE, "%s", line.c_str());
  }

 private:
  std::string label_;
};

class ConsoleChannel : public SystemLog::Channel {
 public:
  explicit ConsoleChannel(std::string label) : label_(std::move(label)) {}

  void write(std::string_view text) override {
    current<Console>()->writeLine(std::string(label_).append(text));
  }

 private:
  std::string label_;
};

class LinuxSystemLog : public SystemLog {
 public:
  std::unique_ptr<Channel> open(std::string_view subsystem, std::string_view category) override {
    if (Journal::isThere()) return std::make_unique<JournalChannel>(subsystem, category);
    std::string label = labelled(subsystem, category);
    if (access("/dev/log", W_OK) == 0) return std::make_unique<SyslogChannel>(std::move(label));
    return std::make_unique<ConsoleChannel>(std::move(label));
  }
};

}  // namespace

std::shared_ptr<SystemLog> SystemLog::makeSystem() { return std::make_shared<LinuxSystemLog>(); }

}  // namespace kelm::platform
