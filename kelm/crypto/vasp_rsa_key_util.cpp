#include "kelm/crypto/vasp_rsa_key_util.h"

#include <cstdint>

namespace kelm {

namespace {

constexpr std::uint8_t kSequenceTag = 0x30;
constexpr std::uint8_t kIntegerTag = 0x02;

void appendLength(Data& der, std::size_t length) {
  if (length >= 256)
    append(der, Data{0x82, static_cast<std::uint8_t>(length >> 8)});
  else if (length >= 128)
    der.push_back(0x81);
  der.push_back(static_cast<std::uint8_t>(length));
}

}  // namespace

std::optional<Data> VaspRSAKeyUtil::generateRSAPublicKeyWithModulus_exponent(
    std::optional<DataView> modulus, std::optional<DataView> exponent) {
  if (!modulus || !exponent) return std::nullopt;
  const bool looksNegative = !modulus->empty() && modulus->front() >= 0x80;
  Data numbers{kIntegerTag};
  appendLength(numbers, modulus->size() + (looksNegative ? 1 : 0));
  if (looksNegative) numbers.push_back(0);
  append(numbers, *modulus);
  append(numbers, Data{kIntegerTag, static_cast<std::uint8_t>(exponent->size())});
  append(numbers, *exponent);
  Data der{kSequenceTag};
  appendLength(der, numbers.size());
  append(der, numbers);
  return der;
}

}  // namespace kelm
