#include "kelm/crypto/vasp_md5.h"

#include "kelm/crypto/digest.h"
#include "kelm/crypto/hexadecimal.h"

namespace kelm {

std::string hash_MD5(std::string_view text) {
  const DataView untilZero = bytesOf(text.substr(0, text.find('\0')));
  return hexText(VaspMD5::md5OfData(untilZero), kUpperHex);
}

std::string hash_Data_MD5(std::optional<DataView> bytes) {
  return hash_MD5(textOf(bytes.value_or(DataView())));
}

Data VaspMD5::md5OfData(std::optional<DataView> bytes) {
  return digestOf(DigestKind::Md5, bytes.value_or(DataView())).value_or(Data());
}

std::string VaspMD5::md5DigiestOf(std::string_view text) { return hash_MD5(text); }

std::string VaspMD5::md5DigiestOfData(std::optional<DataView> bytes) {
  return hash_Data_MD5(bytes);
}

}  // namespace kelm
