#include "kelm/platform/process.h"

#include <cxxabi.h>
#include <dlfcn.h>
#include <execinfo.h>
#include <link.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <unordered_map>
#include <utility>

#include "kelm/base/mutex.h"

namespace kelm::platform {

namespace {

constexpr std::size_t kLongestThreadName = 15;
constexpr std::size_t kMostKeptFrames = 16384;

std::string demangled(const char* symbol) {
  if (symbol == nullptr) return "?";
  int status = 0;
  const std::unique_ptr<char, decltype(&std::free)> text(
      abi::__cxa_demangle(symbol, nullptr, nullptr, &status), &std::free);
  return text ? text.get() : symbol;
}

std::string frameText(void* address) {
  // A return address may lie past the end of a function that never returns.
  const char* const call = static_cast<const char*>(address) - 1;
  Dl_info info{};
  std::string_view module = "?";
  std::size_t offset = 0;
  if (dladdr(call, &info) != 0) {
    if (info.dli_fname != nullptr) module = info.dli_fname;
    module.remove_prefix(module.rfind('/') + 1);
    const void* start = info.dli_saddr != nullptr ? info.dli_saddr : info.dli_fbase;
    offset = static_cast<std::size_t>(call + 1 - static_cast<const char*>(start));
  }
  char numbers[64];
  std::string text(module);
  std::snprintf(numbers, sizeof numbers, " 0x%016lx ", reinterpret_cast<unsigned long>(address));
  text.append(numbers).append(demangled(info.dli_sname));
  std::snprintf(numbers, sizeof numbers, " + %zu", offset);
  return text.append(numbers);
}

/// How many modules were ever unloaded: the same address may since belong to another one.
unsigned long long unloadedModules() {
  unsigned long long count = 0;
  dl_iterate_phdr(
      [](dl_phdr_info* info, std::size_t, void* out) {
        *static_cast<unsigned long long*>(out) = info->dlpi_subs;
        return 1;
      },
      &count);
  return count;
}

/// Never asks the loader under its lock: a module's start-up code runs under the loader's lock, and
/// may come here.
class KeptFrames {
 public:
  void forgetUnloaded() {
    const auto unloaded = unloadedModules();
    const Lock lock(mutex_);
    if (unloaded != unloaded_) texts_.clear();
    unloaded_ = unloaded;
  }

  void describe(void* address, const std::function<void(std::string_view)>& take) {
    {
      const Lock lock(mutex_);
      const auto place = texts_.find(address);
      if (place != texts_.end()) return take(place->second);
    }
    std::string text = frameText(address);
    take(text);
    const Lock lock(mutex_);
    if (texts_.size() >= kMostKeptFrames) texts_.clear();
    texts_.emplace(address, std::move(text));
  }

 private:
  Mutex mutex_;
  std::unordered_map<void*, std::string> texts_ KELM_GUARDED_BY(mutex_);
  unsigned long long unloaded_ KELM_GUARDED_BY(mutex_) = 0;
};

KeptFrames& keptFrames() {
  static auto* const kFrames = new KeptFrames;
  return *kFrames;
}

}  // namespace

bool isFirstThread() { return gettid() == getpid(); }

void startThread(std::string_view name, std::function<void()> work) {
  sigset_t blocked, earlier;
  sigfillset(&blocked);
  for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT, SIGPROF})
    sigdelset(&blocked, fault);
  pthread_sigmask(SIG_BLOCK, &blocked, &earlier);
  const std::shared_ptr<void> restored(
      nullptr, [&](void*) { pthread_sigmask(SIG_SETMASK, &earlier, nullptr); });
  std::thread([name = std::string(name.substr(0, kLongestThreadName)), work = std::move(work)] {
    pthread_setname_np(pthread_self(), name.c_str());
    work();
  }).detach();
}

std::size_t captureCallStack(std::span<void*> addresses) {
  const int count = backtrace(addresses.data(), static_cast<int>(addresses.size()));
  return count > 0 ? static_cast<std::size_t>(count) : 0;
}

void describeFrames(std::span<void* const> addresses,
                    const std::function<void(std::string_view)>& take) {
  KeptFrames& kept = keptFrames();
  kept.forgetUnloaded();
  for (void* const address : addresses)
    kept.describe(address, take);
}

}  // namespace kelm::platform
