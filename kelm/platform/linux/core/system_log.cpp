#include "kelm/platform/system_log.h"

#include <syslog.h>
#include <unistd.h>

#ifdef KELM_HAVE_SYSTEMD
#define SD_JOURNAL_SUPPRESS_LOCATION  // the writer's line is this file, which tells nobody anything
#include <systemd/sd-journal.h>
#endif

#include <algorithm>
#include <string>
#include <utility>

#include "kelm/platform/console.h"

namespace kelm::platform {

namespace {

#ifdef KELM_HAVE_SYSTEMD

class JournalChannel : public SystemLog::Channel {
 public:
  JournalChannel(std::string_view subsystem, std::string_view category)
      : subsystem_("SUBSYSTEM=" + std::string(subsystem)),
        category_("CATEGORY=" + std::string(category)),
        identifier_("SYSLOG_IDENTIFIER=" + std::string(subsystem)) {}

  void write(std::string_view text) override {
    std::string message = "MESSAGE=";
    message.append(text);
    const iovec fields[] = {field(message), field(subsystem_), field(category_), field(identifier_),
                            field(kPriority)};
    sd_journal_sendv(fields, std::size(fields));
  }

 private:
  static iovec field(std::string_view text) {
    return {const_cast<char*>(text.data()), text.size()};
  }
  static constexpr std::string_view kPriority = "PRIORITY=5";  // notice

  std::string subsystem_;
  std::string category_;
  std::string identifier_;
};

bool hasJournal() { return access("/run/systemd/journal/socket", W_OK) == 0; }

#endif

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
#ifdef KELM_HAVE_SYSTEMD
    if (hasJournal()) return std::make_unique<JournalChannel>(subsystem, category);
#endif
    std::string label = labelled(subsystem, category);
    if (access("/dev/log", W_OK) == 0) return std::make_unique<SyslogChannel>(std::move(label));
    return std::make_unique<ConsoleChannel>(std::move(label));
  }
};

}  // namespace

std::shared_ptr<SystemLog> SystemLog::makeSystem() { return std::make_shared<LinuxSystemLog>(); }

}  // namespace kelm::platform
