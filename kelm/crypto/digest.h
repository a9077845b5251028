#pragma once

#include <optional>

#include "kelm/base/data.h"

namespace kelm {

enum class DigestKind { Md5, Sha1, Sha256 };

/// The digest of all bytes. Absent when the cryptographic library does not offer that kind.
std::optional<Data> digestOf(DigestKind kind, DataView bytes);

/// The digest of the first n bytes, n being the length modulo 2^32. Absent for absent and empty
/// bytes.
std::optional<Data> digestOfShortLength(DigestKind kind, std::optional<DataView> bytes);

}  // namespace kelm
