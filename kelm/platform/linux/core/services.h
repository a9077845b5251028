#pragma once

#include <cstddef>
#include <memory>

#include "kelm/platform/random.h"

// Makers for tests; `Random::makeSystem()` makes the usual one.
namespace kelm::platform {

/// A generator that is called like getrandom; a test makes it refuse.
using RandomSource = std::ptrdiff_t (*)(void* buffer, std::size_t size, unsigned flags);
std::shared_ptr<Random> makeRandom(RandomSource source);

}  // namespace kelm::platform
