#pragma once

#include <memory>
#include <string>
#include <thread>
#include <utility>

#include "kelm/base/export.h"
#include "kelm/base/mutex.h"
#include "kelm/platform/console.h"
#include "kelm/platform/dispatch.h"
#include "kelm/testing/manual_clock.h"

namespace kelm::testing {

/// Every queue runs on the thread that made this object, and only while it calls one of the
/// functions below: in the order of posting over all queues, timers when the clock gets there.
/// Other threads may post and wait. Outside of serial and global tasks the test's thread counts as
/// the main thread.
class KELM_API ManualDispatcher : public platform::Dispatcher {
 public:
  ManualDispatcher(std::shared_ptr<ManualClock> clock, std::shared_ptr<platform::Console> console);
  ~ManualDispatcher() override;

  platform::MainLoop& mainLoop() override;
  std::shared_ptr<platform::Queue> makeSerialQueue(std::string_view name) override;
  void postGlobal(platform::Priority priority, platform::Task task) override;
  std::shared_ptr<platform::Queue> currentQueue() override;

  /// Runs what is due, and what that posts, without moving the clock.
  void runUntilIdle();
  /// Moves the clock from one due time to the next, running what is due, until `duration` is over.
  void advance(platform::Duration duration);

 private:
  struct Agenda;
  template <class Base>
  class ManualQueue;
  class ManualMainLoop;
  class ManualTimer;

  std::shared_ptr<Agenda> agenda_;
  std::unique_ptr<ManualMainLoop> mainLoop_;
};

}  // namespace kelm::testing
