#pragma once

#include <cstdint>

namespace kelm {

/// Tells how the internet is reached: 0 not at all, 1 by Wi-Fi or cable, 2 by the mobile network.
/// By the default routes that the kernel lists; nothing is sent.
std::int64_t internetStatus();

}  // namespace kelm
