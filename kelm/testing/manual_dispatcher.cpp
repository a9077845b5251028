#include "kelm/testing/manual_dispatcher.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <future>
#include <limits>
#include <map>
#include <optional>
#include <utility>

#include "kelm/base/format.h"

namespace kelm::testing {

using platform::Duration;
using platform::Task;

/// All that waits, of every queue; `queue` numbers: 0 the main loop, 1 the global one, then serial
/// ones.
struct ManualDispatcher::Agenda {
  using Place = std::pair<std::int64_t, std::uint64_t>;  // time, age
  struct Item {
    std::size_t queue = 0;
    Task task;
    std::int64_t interval = 0;
    std::shared_ptr<std::atomic<bool>> stopped;
  };
  static constexpr std::size_t kMain = 0;
  static constexpr std::size_t kGlobal = 1;

  std::shared_ptr<ManualClock> clock;
  std::shared_ptr<platform::Console> console;
  std::atomic<std::thread::id> runner{std::this_thread::get_id()};
  std::size_t running = kMain;  ///< of the runner

  Mutex mutex;
  std::map<Place, Item> items KELM_GUARDED_BY(mutex);
  std::uint64_t nextAge KELM_GUARDED_BY(mutex) = 0;
  std::size_t nextQueue KELM_GUARDED_BY(mutex) = kGlobal + 1;

  bool isRunner() const { return runner == std::this_thread::get_id(); }
  bool isCurrent(std::size_t queue) const { return isRunner() && running == queue; }

  void add(Duration delay, Item item) {
    const std::int64_t now = clock->monotonicNanoseconds();
    const std::int64_t most = std::numeric_limits<std::int64_t>::max() - now;
    const Lock lock(mutex);
    const std::int64_t time = now + std::clamp<std::int64_t>(delay.count(), 0, most);
    items.emplace(Place{time, nextAge++}, std::move(item));
  }

  /// The first item that is due, and of `queue` alone if that is given; absent when there is none.
  std::optional<Item> takeDue(std::optional<std::size_t> queue) {
    const std::int64_t now = clock->monotonicNanoseconds();
    const Lock lock(mutex);
    for (auto place = items.begin(); place != items.end() && place->first.first <= now; ++place) {
      if (queue && place->second.queue != *queue) continue;
      Item item = place->second;
      const std::int64_t planned = place->first.first;
      items.erase(place);
      if (item.interval > 0 && !*item.stopped) {
        const std::int64_t missed = (now - planned) / item.interval;
        items.emplace(Place{planned + (missed + 1) * item.interval, nextAge++}, item);
      }
      return item;
    }
    return std::nullopt;
  }

  bool runNext(std::optional<std::size_t> queue = {}) {
    const auto item = takeDue(queue);
    if (!item) return false;
    if (!item->stopped || !*item->stopped) runAs(item->queue, item->task, true);
    return true;
  }

  void runAs(std::size_t queue, const Task& task, bool reporting) {
    struct Restorer {
      std::size_t& running;
      std::size_t earlier;
      ~Restorer() { running = earlier; }
    } restorer{running, std::exchange(running, queue)};
    try {
      task();
    } catch (const std::exception& exception) {
      if (!reporting) throw;
      console->writeLine(format("LOG ERROR %@", exception));
    } catch (...) {
      if (!reporting) throw;
      console->writeLine("LOG ERROR unknown exception");
    }
  }

  /// Posts from another thread, and waits for the runner to get there.
  void postAndWait(std::size_t queue, const Task& task) {
    const auto run = std::make_shared<std::packaged_task<void()>>(std::ref(task));
    add(Duration::zero(), {queue, [run] { (*run)(); }, 0, nullptr});
    run->get_future().get();
  }

  /// Moves the clock to the first item; false when none comes before `end`.
  bool advanceToNext(std::int64_t end) {
    const std::int64_t now = clock->monotonicNanoseconds();
    const Lock lock(mutex);
    if (items.empty() || items.begin()->first.first > end) return false;
    clock->advance(Duration(std::max<std::int64_t>(items.begin()->first.first - now, 0)));
    return true;
  }
};

class ManualDispatcher::ManualTimer : public platform::Timer {
 public:
  ManualTimer(std::shared_ptr<Agenda> agenda, std::shared_ptr<std::atomic<bool>> stopped)
      : agenda_(std::move(agenda)), stopped_(std::move(stopped)) {}
  ~ManualTimer() override {
    *stopped_ = true;
    decltype(agenda_->items)::node_type released;  // ends after the lock: it may hold anything
    const Lock lock(agenda_->mutex);
    const auto place = std::ranges::find(agenda_->items, stopped_,
                                         [](const auto& item) { return item.second.stopped; });
    if (place != agenda_->items.end()) released = agenda_->items.extract(place);
  }

 private:
  std::shared_ptr<Agenda> agenda_;
  std::shared_ptr<std::atomic<bool>> stopped_;
};

template <class Base>
class ManualDispatcher::ManualQueue : public Base {
 public:
  ManualQueue(std::shared_ptr<Agenda> agenda, std::size_t number)
      : agenda_(std::move(agenda)), number_(number) {}

  void post(Task task) override { postAfter(Duration::zero(), std::move(task)); }
  void postAfter(Duration delay, Task task) override {
    agenda_->add(delay, {number_, std::move(task), 0, nullptr});
  }
  std::unique_ptr<platform::Timer> every(Duration interval, Task task) override {
    auto stopped = std::make_shared<std::atomic<bool>>(false);
    const auto step = std::max<std::int64_t>(interval.count(), 1);
    agenda_->add(Duration(step), {number_, std::move(task), step, stopped});
    return std::make_unique<ManualTimer>(agenda_, std::move(stopped));
  }
  void runAndWait(const Task& task) override {
    if (isCurrent()) return task();
    if (!agenda_->isRunner()) return agenda_->postAndWait(number_, task);
    while (agenda_->runNext(number_)) {  // what was posted before has its turn first
    }
    agenda_->runAs(number_, task, false);
  }
  /// Without a limit: nothing else can run meanwhile.
  bool runWithin(Duration, Task task) override {
    runAndWait([&] { agenda_->runAs(number_, task, true); });
    return true;
  }
  bool isCurrent() const override { return agenda_->isCurrent(number_); }

 protected:
  const std::shared_ptr<Agenda> agenda_;
  const std::size_t number_;
};

class ManualDispatcher::ManualMainLoop : public ManualQueue<platform::MainLoop> {
 public:
  using ManualQueue::ManualQueue;

  /// Ends also when nothing waits any more.
  void run() override {
    while (!stopped_ && (agenda_->runNext() || agenda_->advanceToNext(kNever))) {
    }
    stopped_ = false;
  }
  void stop() override {
    stopped_ = true;
    post([] {});
  }
  bool runPending() override {
    bool ran = false;
    while (agenda_->runNext())
      ran = true;
    return ran;
  }
  /// Moves the clock; when nothing waits that could change the condition, to the limit at once.
  bool runUntil(const std::function<bool()>& done, Duration limit) override {
    const std::int64_t start = agenda_->clock->monotonicNanoseconds();
    const std::int64_t end = limit.count() > kNever - start ? kNever : start + limit.count();
    while (!done()) {
      if (agenda_->runNext() || agenda_->advanceToNext(end)) continue;
      const std::int64_t left = end - agenda_->clock->monotonicNanoseconds();
      agenda_->clock->advance(Duration(std::max<std::int64_t>(left, 0)));
      return done();
    }
    return true;
  }
  int descriptor() const override { return -1; }
  std::unique_ptr<platform::Timer> watch(int, platform::Readiness, Task) override {
    return std::make_unique<platform::Timer>();
  }
  void attachToCurrentThread() override { agenda_->runner = std::this_thread::get_id(); }

 private:
  static constexpr std::int64_t kNever = std::numeric_limits<std::int64_t>::max();

  std::atomic<bool> stopped_{false};
};

ManualDispatcher::ManualDispatcher(std::shared_ptr<ManualClock> clock,
                                   std::shared_ptr<platform::Console> console)
    : agenda_(std::make_shared<Agenda>()) {
  agenda_->clock = std::move(clock);
  agenda_->console = std::move(console);
  mainLoop_ = std::make_unique<ManualMainLoop>(agenda_, Agenda::kMain);
}

ManualDispatcher::~ManualDispatcher() {
  std::map<Agenda::Place, Agenda::Item> released;  // tasks may hold this object's queues
  const Lock lock(agenda_->mutex);
  released.swap(agenda_->items);
}

platform::MainLoop& ManualDispatcher::mainLoop() { return *mainLoop_; }

std::shared_ptr<platform::Queue> ManualDispatcher::makeSerialQueue(std::string_view) {
  const Lock lock(agenda_->mutex);
  return std::make_shared<ManualQueue<platform::Queue>>(agenda_, agenda_->nextQueue++);
}

std::shared_ptr<platform::Queue> ManualDispatcher::currentQueue() {
  if (!agenda_->isRunner() || agenda_->running == Agenda::kGlobal) return nullptr;
  if (agenda_->running == Agenda::kMain) return {std::shared_ptr<platform::Queue>(), &mainLoop()};
  return std::make_shared<ManualQueue<platform::Queue>>(agenda_, agenda_->running);
}

void ManualDispatcher::postGlobal(platform::Priority, Task task) {
  agenda_->add(Duration::zero(), {Agenda::kGlobal, std::move(task), 0, nullptr});
}

void ManualDispatcher::runUntilIdle() { mainLoop_->runPending(); }

void ManualDispatcher::advance(Duration duration) {
  mainLoop_->runUntil([] { return false; }, duration);
}

}  // namespace kelm::testing
