#include "kelm/crypto/rsa_numbers.h"

#include <openssl/bn.h>

#include <memory>

#include "kelm/crypto/der.h"

namespace kelm {

namespace {

struct FreeNumber {
  void operator()(BIGNUM* number) const { BN_clear_free(number); }
};
using Number = std::unique_ptr<BIGNUM, FreeNumber>;

struct FreeScratch {
  void operator()(BN_CTX* scratch) const { BN_CTX_free(scratch); }
};
using Scratch = std::unique_ptr<BN_CTX, FreeScratch>;

Number numberOf(const Data& bytes) {
  return Number(BN_bin2bn(bytes.data(), static_cast<int>(bytes.size()), nullptr));
}

/// True if a · b leaves `rest` when divided by `modulus`.
bool leaves(const BIGNUM* a, const BIGNUM* b, const BIGNUM* modulus, const BIGNUM* rest,
            BN_CTX* scratch) {
  const Number product(BN_new());
  return product && BN_mod_mul(product.get(), a, b, modulus, scratch) == 1 &&
         BN_cmp(product.get(), rest) == 0;
}

/// True if `exponent` undoes `e` modulo `prime`, as `d` does.
bool undoes(const BIGNUM* exponent, const BIGNUM* d, const BIGNUM* e, const BIGNUM* prime,
            BN_CTX* scratch) {
  const Number order(BN_dup(prime));
  const Number rest(BN_new());
  return order && rest && BN_sub_word(order.get(), 1) == 1 && !BN_is_zero(order.get()) &&
         BN_mod(rest.get(), d, order.get(), scratch) == 1 && BN_cmp(rest.get(), exponent) == 0 &&
         leaves(exponent, e, order.get(), BN_value_one(), scratch);
}

// A private key whose numbers do not belong to each other opens and signs wrongly, and a wrong
// signature of a key with a wrong half gives the key away. Whether p and q are primes is not asked:
// that takes a thousand times as long, and shows only who made the key.
bool belongTogether(const RsaNumbers& numbers) {
  const Scratch scratch(BN_CTX_secure_new());
  std::array<Number, RsaNumbers::kAll> n;
  for (std::size_t at = 0; at < n.size(); ++at)
    if (n[at] = numberOf(numbers.values[at]); !n[at]) return false;
  const Number product(BN_new());
  BN_CTX* const context = scratch.get();
  const auto* const p = n[RsaNumbers::P].get();
  const auto* const q = n[RsaNumbers::Q].get();
  return context != nullptr && product && BN_is_odd(p) && BN_is_odd(q) &&
         BN_mul(product.get(), p, q, context) == 1 &&
         BN_cmp(product.get(), n[RsaNumbers::N].get()) == 0 &&
         BN_cmp(n[RsaNumbers::D].get(), n[RsaNumbers::N].get()) < 0 &&
         undoes(n[RsaNumbers::DP].get(), n[RsaNumbers::D].get(), n[RsaNumbers::E].get(), p,
                context) &&
         undoes(n[RsaNumbers::DQ].get(), n[RsaNumbers::D].get(), n[RsaNumbers::E].get(), q,
                context) &&
         leaves(n[RsaNumbers::QI].get(), q, p, BN_value_one(), context);
}

bool isOdd(const Data& number) { return !number.empty() && number.back() % 2 == 1; }

}  // namespace

std::optional<RsaNumbers> rsaNumbersOf(DataView pkcs1, std::size_t count) {
  DerReader outside(pkcs1);
  std::optional<DataView> content = outside.take(der_tag::kSequence);
  if (!content || !outside.atEnd()) return std::nullopt;
  DerReader inside(*content);
  const bool isPrivate = count == RsaNumbers::kAll;
  const auto version = isPrivate ? inside.takeUnsigned() : std::optional<DataView>(DataView());
  if (!version || !version->empty()) return std::nullopt;  // 1 is a key of more than two primes
  RsaNumbers numbers;
  for (; numbers.count < count; ++numbers.count) {
    const std::optional<DataView> number = inside.takeUnsigned();
    if (!number) return std::nullopt;
    numbers.values[numbers.count].assign(number->begin(), number->end());
  }
  if (!inside.atEnd()) return std::nullopt;
  return numbers;
}

Data pkcs1Of(const RsaNumbers& numbers, std::size_t count) {
  Data content;
  content.reserve(std::size_t{kMostRsaBits});  // growing would leave copies behind
  if (count == RsaNumbers::kAll) appendDerUnsigned(content, {});
  for (std::size_t at = 0; at < count; ++at)
    appendDerUnsigned(content, numbers.values[at]);
  Data der;
  der.reserve(content.size() + 8);
  der.push_back(der_tag::kSequence);
  appendDerLength(der, content.size());
  append(der, content);
  wipe(content);
  return der;
}

bool followKeyRule(const RsaNumbers& numbers) {
  const Data& n = numbers.values[RsaNumbers::N];
  const Data& e = numbers.values[RsaNumbers::E];
  if (n.size() > std::size_t{kMostRsaBits} / 8 || !isOdd(n) || !isOdd(e)) return false;
  const Number modulus = numberOf(n);
  const Number exponent = numberOf(e.size() <= n.size() ? e : Data());
  if (!modulus || !exponent || BN_num_bits(modulus.get()) < kLeastRsaBits) return false;
  if (BN_is_zero(exponent.get()) || BN_is_one(exponent.get())) return false;
  if (BN_cmp(exponent.get(), modulus.get()) >= 0) return false;
  return numbers.count == RsaNumbers::kOfPublicKey || belongTogether(numbers);
}

}  // namespace kelm
