#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "kelm/base/data.h"
#include "kelm/base/value.h"
#include "kelm/crypto/crypto_key.h"

// RSA keys in the item store: class key, key type RSA, the PKCS#1 form as the secret.
namespace kelm {

/// What a query about the RSA keys of a tag names.
Dictionary keyQuery(DataView tag);
/// The same without the key type.
Dictionary anyKeyQuery(DataView tag);

/// Adds both halves, readable after the first unlock on this device alone; on failure neither. A
/// status of the item store.
std::int32_t addKeyPair(const CryptoKey& privateKey, DataView publicTag, DataView privateTag);
/// The first key that the query finds; null when there is none, or none that can be read.
KeyReference findKey(Dictionary query, KeyPart part);
/// All keys that the query finds and that can be read, in the order of adding.
std::vector<KeyReference> findKeys(Dictionary query, KeyPart part);

}  // namespace kelm
