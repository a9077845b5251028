#include "kelm/platform/in_process/in_process_notification_center.h"

#include <algorithm>
#include <condition_variable>
#include <thread>
#include <utility>
#include <vector>

#include "kelm/base/mutex.h"

namespace kelm::platform {

struct InProcessNotificationCenter::Entry {
  std::string name;
  Observer observer;

  Mutex mutex;
  std::condition_variable_any changed;
  bool removed KELM_GUARDED_BY(mutex) = false;
  std::vector<std::thread::id> callers KELM_GUARDED_BY(mutex);

  /// False once it was removed; else leave() must follow.
  bool enter() {
    const Lock lock(mutex);
    if (!removed) callers.push_back(std::this_thread::get_id());
    return !removed;
  }
  void leave() {
    const Lock lock(mutex);
    callers.erase(std::find(callers.begin(), callers.end(), std::this_thread::get_id()));
    changed.notify_all();
  }
  /// Ends it, and waits for the calls that run in other threads.
  void remove() {
    const auto here = std::this_thread::get_id();
    mutex.lock();
    removed = true;
    while (std::any_of(callers.begin(), callers.end(), [&](auto c) { return c != here; }))
      changed.wait(mutex);
    mutex.unlock();
  }
};

struct InProcessNotificationCenter::Entries {
  Mutex mutex;
  std::vector<std::shared_ptr<Entry>> list KELM_GUARDED_BY(mutex);
};

class InProcessNotificationCenter::Membership : public Registration {
 public:
  Membership(std::shared_ptr<Entries> entries, std::shared_ptr<Entry> entry)
      : entries_(std::move(entries)), entry_(std::move(entry)) {}
  ~Membership() override {
    {
      const Lock lock(entries_->mutex);
      std::erase(entries_->list, entry_);
    }
    entry_->remove();
  }

 private:
  std::shared_ptr<Entries> entries_;
  std::shared_ptr<Entry> entry_;
};

InProcessNotificationCenter::InProcessNotificationCenter()
    : entries_(std::make_shared<Entries>()) {}
InProcessNotificationCenter::~InProcessNotificationCenter() = default;

std::unique_ptr<NotificationCenter::Registration> InProcessNotificationCenter::observe(
    std::string_view name, Observer observer) {
  auto entry = std::make_shared<Entry>();
  entry->name = name;
  entry->observer = std::move(observer);
  const Lock lock(entries_->mutex);
  entries_->list.push_back(entry);
  return std::make_unique<Membership>(entries_, std::move(entry));
}

void InProcessNotificationCenter::post(const Notification& notification) {
  std::vector<std::shared_ptr<Entry>> observers;
  {
    const Lock lock(entries_->mutex);
    for (const auto& entry : entries_->list) {
      if (entry->name.empty() || entry->name == notification.name) observers.push_back(entry);
    }
  }
  struct Leaver {
    Entry& entry;
    ~Leaver() { entry.leave(); }
  };
  for (const auto& entry : observers) {
    if (!entry->enter()) continue;
    const Leaver leaver{*entry};
    entry->observer(notification);
  }
}

std::shared_ptr<NotificationCenter> NotificationCenter::makeSystem() {
  return std::make_shared<InProcessNotificationCenter>();
}

}  // namespace kelm::platform
