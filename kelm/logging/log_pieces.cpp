#include "kelm/logging/log_pieces.h"

#include <string>
#include <utility>

#include "kelm/base/utf16.h"

namespace kelm::logging {

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

/// Takes pieces off the front of a text, each in one pass.
class PieceCutter {
 public:
  PieceCutter(std::string_view text, bool isAscii) : rest_(text), isAscii_(isAscii) {}

  void appendPiece(std::string& out) {
    std::size_t wanted = kPieceUnits;
    if (std::exchange(insidePair_, false)) {
      out += kReplacement;
      --wanted;
    }
    if (isAscii_) return take(out, wanted);
    take(out, utf16ByteOffset(rest_, wanted));
    const std::size_t taken = utf16Length(std::string_view(out).substr(out.size() - taken_));
    if (taken == wanted || rest_.empty()) return;
    constexpr std::size_t kPairBytes = 4;
    out += kReplacement;
    rest_.remove_prefix(kPairBytes);
    insidePair_ = true;
  }

 private:
  void take(std::string& out, std::size_t bytes) {
    const std::string_view part = rest_.substr(0, bytes);
    out += part;
    rest_.remove_prefix(part.size());
    taken_ = part.size();
  }

  std::string_view rest_;
  std::size_t taken_ = 0;
  bool isAscii_;
  bool insidePair_ = false;
};

}  // namespace

void forEachPiece(std::string_view message, const std::function<void(std::string_view)>& deliver) {
  if (message.size() <= kPieceUnits) return deliver(message);  // no more units than bytes
  const bool hasUnitPerByte = isAscii(message);
  const std::size_t length = hasUnitPerByte ? message.size() : utf16Length(message);
  if (length <= kPieceUnits) return deliver(message);
  const std::size_t count = length / kPieceUnits + 1;
  PieceCutter cutter(message, hasUnitPerByte);
  std::string piece;
  for (std::size_t k = 1; k <= count; ++k) {
    piece.assign("[").append(std::to_string(k)).append("/").append(std::to_string(count)) += ']';
    cutter.appendPiece(piece);
    deliver(piece);
  }
}

}  // namespace kelm::logging
