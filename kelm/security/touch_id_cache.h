#pragma once

#include <atomic>

namespace kelm {

/// An answer that is found out once, and again after forget().
class CachedAnswer {
 public:
  template <class Find>
  bool orFind(const Find& find) {
    const int known = answer_.load(std::memory_order_relaxed);
    if (known != kUnknown) return known != 0;
    const bool found = find();
    keep(found);
    return found;
  }
  bool isKnown() const { return answer_.load(std::memory_order_relaxed) != kUnknown; }
  void keep(bool answer) { answer_.store(answer ? 1 : 0, std::memory_order_relaxed); }
  void forget() { answer_.store(kUnknown, std::memory_order_relaxed); }

 private:
  static constexpr int kUnknown = -1;
  std::atomic<int> answer_{kUnknown};
};

/// The process-wide answers of VaspTouchIDManager.
struct TouchIdCaches {
  CachedAnswer isTouchIDAvailableInDevice;
  CachedAnswer isPasscodeSettedInDevice;
  CachedAnswer wasPasscodeResetted;
  CachedAnswer wasFingersChanged;
  CachedAnswer isFingersEnrolled;
  CachedAnswer isFaceIDAvailableInDevice;
};

inline constinit TouchIdCaches touchIdCaches;

/// Makes sure that the answers are forgotten when the host loses the user.
void loadTouchIdOnce();

}  // namespace kelm
