#pragma once

#include <string_view>

#include "kelm/base/data.h"
#include "kelm/crypto/key_reference.h"

namespace kelm {

/// The RSA private key of a PKCS#12 bundle (RFC 7292), of modern and of old ciphers. Null when
/// the bytes are not exactly one bundle, its MAC is missing, wants more than ten million rounds or
/// does not match the password, or its first key is no RSA key of a served size or comes without
/// its certificate.
KeyReference rsaPrivateKeyOfPkcs12(DataView bundle, std::string_view password);

}  // namespace kelm
