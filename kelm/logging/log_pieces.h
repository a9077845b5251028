#pragma once

#include <cstddef>
#include <functional>
#include <string_view>

namespace kelm::logging {

/// The longest message that is delivered whole, in UTF-16 units.
inline constexpr std::size_t kPieceUnits = 1000;

/// Calls `deliver` with the message, or, when it is longer than kPieceUnits, with each of its
/// length / 1000 + 1 pieces behind "[k/n]"; the last is empty when the length divides evenly. A
/// cut inside a surrogate pair shows U+FFFD on both sides.
void forEachPiece(std::string_view message, const std::function<void(std::string_view)>& deliver);

}  // namespace kelm::logging
