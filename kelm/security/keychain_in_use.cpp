#include "kelm/security/keychain_in_use.h"

#include <utility>

#include "kelm/base/mutex.h"

namespace kelm {

namespace {

struct Hook {
  Mutex mutex;
  std::function<void()> mark KELM_GUARDED_BY(mutex);
};

Hook& hook() {
  static auto* const kHook = new Hook;
  return *kHook;
}

}  // namespace

void setMarkKeychainAsInUse(std::function<void()> mark) {
  const Lock lock(hook().mutex);
  hook().mark.swap(mark);
}

void markKeychainAsInUse() {
  std::function<void()> mark;
  {
    const Lock lock(hook().mutex);
    mark = hook().mark;
  }
  if (mark) mark();
}

}  // namespace kelm
