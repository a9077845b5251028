#include "kelm/crypto/vasp_sha1.h"

#include "kelm/crypto/digest.h"
#include "kelm/crypto/hexadecimal.h"

namespace kelm {

namespace {

constexpr std::size_t kDigestBytes = 20;

std::optional<std::string> hexOfFirst(std::size_t count, std::optional<DataView> bytes) {
  const auto digest = VaspSha1::sha1first_bytesDigestForData(count, bytes);
  return digest ? std::optional(hexText(*digest, kLowerHex)) : std::nullopt;
}

}  // namespace

std::optional<Data> VaspSha1::sha1ByteDigestForData(std::optional<DataView> bytes) {
  return digestOfShortLength(DigestKind::Sha1, bytes);
}

std::optional<Data> VaspSha1::sha1first_bytesDigestForData(std::size_t count,
                                                           std::optional<DataView> bytes) {
  if (count > kDigestBytes) return std::nullopt;
  std::optional<Data> digest = sha1ByteDigestForData(bytes);
  if (digest) digest->resize(count);
  return digest;
}

std::optional<std::string> VaspSha1::sha1Hex20ByteStringDigestForData(
    std::optional<DataView> bytes) {
  return hexOfFirst(kDigestBytes, bytes);
}

std::optional<std::string> VaspSha1::sha1Hex8ByteStringDigestForData(
    std::optional<DataView> bytes) {
  return hexOfFirst(8, bytes);
}

}  // namespace kelm
