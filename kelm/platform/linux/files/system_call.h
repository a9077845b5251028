#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace kelm::platform {

/// What `call` returns once no signal interrupts it.
template <class Call>
auto retried(const Call& call) {
  auto result = call();
  while (result == -1 && errno == EINTR)
    result = call();
  return result;
}

/// An open descriptor, closed at the end of its scope.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~Descriptor() {
    if (number_ < 0) return;
    const int earlier = errno;
    ::close(number_);
    errno = earlier;
  }

  bool isOpen() const { return number_ >= 0; }
  int number() const { return number_; }
  /// For whoever closes it himself, to see an error.
  int release() { return std::exchange(number_, -1); }

 private:
  int number_ = -1;
};

}  // namespace kelm::platform
