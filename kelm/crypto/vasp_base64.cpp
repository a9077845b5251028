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

std::uint32_t groupAt(const char* letters) {
  return contribution(letters[0], 0) | contribution(letters[1], 1) | contribution(letters[2], 2) |
         contribution(letters[3], 3);
}

/// The next eight bytes as a number; compiles to one load.
std::uint64_t bigEndian(const std::uint8_t* at) {
  return std::uint64_t{at[0]} << 56 | std::uint64_t{at[1]} << 48 | std::uint64_t{at[2]} << 40 |
         std::uint64_t{at[3]} << 32 | std::uint64_t{at[4]} << 24 | std::uint64_t{at[5]} << 16 |
         std::uint64_t{at[6]} << 8 | std::uint64_t{at[7]};
}

void putPair(char* letters, std::uint64_t bits) {
  std::memcpy(letters, kPairs[bits & 4095].data(), 2);
}

/// Writes four letters for every three bytes and the padded rest.
void encode(DataView bytes, char* letters) {
  // Six bytes at a time, out of eight that can be read.
  for (; bytes.size() >= 8; bytes = bytes.subspan(6), letters += 8) {
    const std::uint64_t groups = bigEndian(bytes.data());
    putPair(letters, groups >> 52);
    putPair(letters + 2, groups >> 40);
    putPair(letters + 4, groups >> 28);
    putPair(letters + 6, groups >> 16);
  }
  for (; !bytes.empty(); letters += 4) {
    const std::size_t count = std::min<std::size_t>(bytes.size(), 3);
    const unsigned group =
        bytes[0] << 16U | (count > 1 ? bytes[1] << 8U : 0U) | (count > 2 ? bytes[2] : 0U);
    putPair(letters, group >> 12);
    putPair(letters + 2, group);
    if (count < 3) letters[3] = kPad;
    if (count < 2) letters[2] = kPad;
    bytes = bytes.subspan(count);
  }
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
  /// Takes two groups at a time as long as eight letters stand together.
  void takeCleanGroups() {
    const char* at = text_.data();
    const char* const end = at + text_.size();
    std::uint8_t* to = bytes_.data() + size_;
    for (; end - at >= 8; at += 8, to += 6) {
      const std::uint32_t first = groupAt(at);
      const std::uint32_t second = groupAt(at + 4);
      if (((first | second) & kForeign) != 0) break;
      std::memcpy(to, &first, 4);  // the fourth byte is overwritten by what follows
      std::memcpy(to + 3, &second, 4);
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
