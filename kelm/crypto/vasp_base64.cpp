#include "kelm/crypto/vasp_base64.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <utility>

#include "kelm/logging/vasp_logger.h"

namespace kelm {

namespace {

constexpr std::string_view kAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char kPad = '=';

/// The two letters of each 12 bits.
constexpr auto kPairs = [] {
  std::array<std::array<char, 2>, 4096> pairs{};
  for (std::size_t i = 0; i < pairs.size(); ++i)
    pairs[i] = {kAlphabet[i >> 6], kAlphabet[i & 63]};
  return pairs;
}();

/// What a letter adds to the three bytes of its group when it stands at each of the four places,
/// in the order of memory; the fourth byte marks what is no letter.
using Contribution = std::array<std::uint8_t, 4>;
constexpr std::uint32_t kForeign = std::bit_cast<std::uint32_t>(Contribution{0, 0, 0, 1});

constexpr auto kContributions = [] {
  std::array<std::array<std::uint32_t, 256>, 4> tables{};
  for (std::size_t place = 0; place < tables.size(); ++place) {
    tables[place].fill(kForeign);
    for (std::size_t value = 0; value < kAlphabet.size(); ++value) {
      const std::size_t bits = value << (18 - 6 * place);
      tables[place][static_cast<unsigned char>(kAlphabet[value])] = std::bit_cast<std::uint32_t>(
          Contribution{static_cast<std::uint8_t>(bits >> 16), static_cast<std::uint8_t>(bits >> 8),
                       static_cast<std::uint8_t>(bits), 0});
    }
  }
  return tables;
}();

std::uint32_t contribution(char letter, std::size_t place) {
  return kContributions[place][static_cast<unsigned char>(letter)];
}

/// Writes four letters for every three bytes and the padded rest.
void encode(DataView bytes, char* letters) {
  std::size_t at = 0;
  for (; bytes.size() - at >= 3; at += 3, letters += 4) {
    const unsigned group = bytes[at] << 16U | bytes[at + 1] << 8U | bytes[at + 2];
    std::memcpy(letters, kPairs[group >> 12].data(), 2);
    std::memcpy(letters + 2, kPairs[group & 4095].data(), 2);
  }
  const std::size_t rest = bytes.size() - at;
  if (rest == 0) return;
  const unsigned group = bytes[at] << 16U | (rest == 2 ? bytes[at + 1] << 8U : 0U);
  std::memcpy(letters, kPairs[group >> 12].data(), 2);
  letters[2] = rest == 2 ? kAlphabet[group >> 6 & 63] : kPad;
  letters[3] = kPad;
}

/// Turns a text into bytes group by group.
class Decoder {
 public:
  explicit Decoder(std::string_view text) : text_(text), bytes_(text.size() / 4 * 3 + 4) {}

  std::optional<Data> decode() {
    do
      takeCleanGroups();
    while (takeLetters() == 4);
    if (!takesPadding()) return std::nullopt;
    bytes_.resize(size_);
    return std::move(bytes_);
  }

 private:
  /// Takes groups as long as four letters stand together.
  void takeCleanGroups() {
    const char* at = text_.data();
    const char* const end = at + text_.size();
    std::uint8_t* to = bytes_.data() + size_;
    for (; end - at >= 4; at += 4, to += 3) {
      const std::uint32_t group = contribution(at[0], 0) | contribution(at[1], 1) |
                                  contribution(at[2], 2) | contribution(at[3], 3);
      if ((group & kForeign) != 0) break;
      std::memcpy(to, &group, 4);  // the fourth byte is overwritten by the next group
    }
    text_.remove_prefix(static_cast<std::size_t>(at - text_.data()));
    size_ = static_cast<std::size_t>(to - bytes_.data());
  }

  /// Takes the next letters one by one, up to four, over everything foreign but padding; writes
  /// the bytes that they fill. Returns how many letters came.
  std::size_t takeLetters() {
    letters_ = 0;
    std::uint32_t group = 0;
    for (; letters_ < 4 && !text_.empty() && text_.front() != kPad; text_.remove_prefix(1)) {
      const std::uint32_t more = contribution(text_.front(), letters_);
      if (more == kForeign) continue;
      group |= more;
      ++letters_;
    }
    std::memcpy(bytes_.data() + size_, &group, 4);
    size_ += letters_ * 3 / 4;
    return letters_;
  }

  /// True when what is left is the padding of the last letters.
  bool takesPadding() const {
    std::size_t padding = 0;
    for (const char c : text_) {
      if (c == kPad)
        ++padding;
      else if (contribution(c, 0) != kForeign)
        return false;
    }
    return letters_ == 0 ? padding == 0 : letters_ >= 2 && letters_ + padding == 4;
  }

  std::string_view text_;
  Data bytes_;
  std::size_t size_ = 0;
  std::size_t letters_ = 0;
};

std::string replaced(std::string_view text, char plus, char plusBy, char slash, char slashBy) {
  std::string result(text);
  std::replace(result.begin(), result.end(), plus, plusBy);
  std::replace(result.begin(), result.end(), slash, slashBy);
  return result;
}

}  // namespace

std::string VaspBase64::base64OfData(std::optional<DataView> bytes) {
  if (!bytes) return {};
  std::string text((bytes->size() + 2) / 3 * 4, '\0');
  encode(*bytes, text.data());
  return text;
}

std::optional<Data> VaspBase64::dataOfBase64String(std::optional<std::string_view> text) {
  constexpr LogAspect kAspects = log_aspect::kFrontend | log_aspect::kLife;
  constexpr const char* kOrigin = "+[VaspBase64 dataOfBase64String:]";
  if (!text) {
    VaspLogger::logwithLevel_aspect_from_message(
        log_level::kWarn, kAspects, kOrigin,
        "WARNING: DataOfBase64String -> nil Stirng returns nil data");
    return std::nullopt;
  }
  if (text->empty()) {
    VaspLogger::logwithLevel_aspect_from_message(
        log_level::kWarn, kAspects, kOrigin,
        "WARNING: DataOfBase64String -> empty Strings returns empty data");
    return Data();
  }
  return Decoder(*text).decode();
}

std::optional<std::string> VaspBase64::base64StringToUrlSafeBase64String(
    std::optional<std::string_view> text) {
  if (!text) return std::nullopt;
  return replaced(*text, '+', '-', '/', '_');
}

std::optional<std::string> VaspBase64::urlSafeBase64StringToBase64String(
    std::optional<std::string_view> text) {
  if (!text) return std::nullopt;
  return replaced(*text, '-', '+', '_', '/');
}

}  // namespace kelm
