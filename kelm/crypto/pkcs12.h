#pragma once

#include <string_view>

#include "kelm/base/data.h"
#include "kelm/crypto/key_reference.h"

namespace kelm {

/// The RSA private key of a PKCS#12 bundle (RFC 7292), of modern and of old ciphers. Null when
/// the bytes are not exactly one bundle, its MAC is missing, does not match the password,
/// its derivations want more than ten million rounds together, its bags lie deeper than 16 levels,
/// or its first key is no RSA key, is against the key rule or comes without its certificate.
KeyReference rsaPrivateKeyOfPkcs12(DataView bundle, std::string_view password);

}  // namespace kelm
