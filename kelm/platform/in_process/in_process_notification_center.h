#pragma once

#include <memory>

#include "kelm/platform/notification_center.h"

namespace kelm::platform {

/// Notifications within this process: all that the library needs of a centre, on any system. An
/// observer that throws ends the delivery, and the poster gets what it threw. Two observers that
/// end each other's registration from within calls in different threads wait for ever.
class KELM_API InProcessNotificationCenter : public NotificationCenter {
 public:
  InProcessNotificationCenter();
  ~InProcessNotificationCenter() override;

  std::unique_ptr<Registration> observe(std::string_view name, Observer observer) override;
  void post(const Notification& notification) override;

 private:
  struct Entry;
  struct Entries;
  class Membership;

  std::shared_ptr<Entries> entries_;
};

}  // namespace kelm::platform
