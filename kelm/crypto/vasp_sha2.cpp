#include "kelm/crypto/vasp_sha2.h"

#include "kelm/crypto/digest.h"
#include "kelm/crypto/hexadecimal.h"

namespace kelm {

std::optional<Data> VaspSha2::sha256ByteDigestForData(std::optional<DataView> bytes) {
  return digestOfShortLength(DigestKind::Sha256, bytes);
}

std::optional<std::string> VaspSha2::sha256HexByteDigestForData(std::optional<DataView> bytes) {
  const auto digest = sha256ByteDigestForData(bytes);
  return digest ? std::optional(hexText(*digest, kLowerHex)) : std::nullopt;
}

}  // namespace kelm
