// link: kelm_crypto
// Base64, hexadecimal text, percent-encoding and gzip beside what OpenSSL, curl and zlib offer.

#include <benchmark/benchmark.h>
#include <curl/curl.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <zlib.h>

#include <cstdlib>
#include <functional>
#include <memory>
#include <random>
#include <string>

#include "bench/support/pairs.h"
#include "kelm/crypto/vasp_base64.h"
#include "kelm/crypto/vasp_crypto_utils.h"
#include "kelm/crypto/vasp_gzip.h"
#include "kelm/crypto/zu_string_encoder.h"

namespace {

using bench::add;
using bench::addPair;

using benchmark::DoNotOptimize;
using benchmark::State;
using kelm::Data;
using kelm::DataView;

void orAbort(bool succeeded) {
  if (!succeeded) std::abort();
}

Data randomBytes(std::size_t size) {
  std::mt19937 generator(7);
  Data bytes(size);
  for (std::uint8_t& byte : bytes)
    byte = static_cast<std::uint8_t>(generator());
  return bytes;
}

Data text(std::size_t size) {
  const char* const words[] = {"the",  "till",    "sale",  "of",     "a",      "coffee", "was",
                               "paid", "refused", "later", "refund", "amount", "and",    "printed"};
  std::mt19937 generator(8);
  std::string result;
  while (result.size() < size) {
    result += words[generator() % std::size(words)];
    result += generator() % 12 == 0 ? ".\n" : " ";
  }
  return kelm::dataOf(result);
}

Data json(std::size_t size) {
  std::mt19937 generator(9);
  std::string result = "[";
  while (result.size() < size)
    result += R"({"id":)" + std::to_string(generator() % 1000000) + R"(,"amount":")" +
              std::to_string(generator() % 10000) + "." + std::to_string(generator() % 90 + 10) +
              R"(","approved":)" + (generator() % 4 ? "true" : "false") + "},";
  result.back() = ']';
  return kelm::dataOf(result);
}

std::string encodeBlock(const Data& bytes) {
  std::string letters((bytes.size() + 2) / 3 * 4 + 1, '\0');
  const int size = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(letters.data()), bytes.data(),
                                   static_cast<int>(bytes.size()));
  letters.resize(static_cast<std::size_t>(size));
  return letters;
}

/// Of whole groups of letters, which is all that this function tells the size of.
Data decodeBlock(const std::string& letters) {
  Data bytes(letters.size() / 4 * 3);
  orAbort(EVP_DecodeBlock(bytes.data(), reinterpret_cast<const unsigned char*>(letters.data()),
                          static_cast<int>(letters.size())) >= 0);
  return bytes;
}

std::string hexOfOpenSsl(const Data& bytes) {
  std::string digits(bytes.size() * 2 + 1, '\0');
  orAbort(OPENSSL_buf2hexstr_ex(digits.data(), digits.size(), nullptr, bytes.data(), bytes.size(),
                                '\0') == 1);
  digits.pop_back();
  return digits;
}

std::string escapeOfCurl(CURL* curl, const std::string& value) {
  const std::unique_ptr<char, decltype(&curl_free)> escaped(
      curl_easy_escape(curl, value.data(), static_cast<int>(value.size())), &curl_free);
  return escaped.get();
}

void addTexts() {
  const Data bytes = randomBytes(10239);  // a multiple of three
  const std::string letters = kelm::VaspBase64::base64OfData(bytes);
  orAbort(letters == encodeBlock(bytes) && decodeBlock(letters) == bytes);
  addPair(
      "base64_encode_10KiB", [bytes] { return kelm::VaspBase64::base64OfData(bytes); },
      [bytes] { return encodeBlock(bytes); });
  addPair(
      "base64_decode_10KiB", [letters] { return kelm::VaspBase64::dataOfBase64String(letters); },
      [letters] { return decodeBlock(letters); });
  addPair(
      "hex_encode_10KiB", [bytes] { return kelm::VaspCryptoUtils::hexadecimalStringOfData(bytes); },
      [bytes] { return hexOfOpenSsl(bytes); });
  const std::string value = "john.doe+tag@example.com/path?x=1&y=2 zz";
  CURL* const curl = curl_easy_init();
  orAbort(kelm::ZuStringEncoder::urlEncodeString(value) == escapeOfCurl(curl, value));
  addPair(
      "percent_encode_40_characters",
      [value] { return kelm::ZuStringEncoder::urlEncodeString(value); },
      [curl, value] { return escapeOfCurl(curl, value); });
}

Data deflateOfZlib(const Data& bytes) {
  z_stream stream{};
  orAbort(deflateInit2(&stream, -1, 8, 31, 8, 0) == Z_OK);
  Data result(deflateBound(&stream, bytes.size()));
  stream.next_in = const_cast<Bytef*>(bytes.data());
  stream.avail_in = static_cast<uInt>(bytes.size());
  stream.next_out = result.data();
  stream.avail_out = static_cast<uInt>(result.size());
  orAbort(deflate(&stream, Z_FINISH) == Z_STREAM_END);
  result.resize(stream.total_out);
  deflateEnd(&stream);
  return result;
}

using Buffer = std::unique_ptr<std::uint8_t, decltype(&std::free)>;

/// Into a buffer that realloc grows by half of the stream's size; hands out the buffer as it is.
std::pair<Buffer, std::size_t> inflateOfZlib(DataView bytes) {
  const std::size_t step = bytes.size() / 2;
  std::size_t size = bytes.size() + step;
  auto* buffer = static_cast<std::uint8_t*>(std::malloc(size));
  z_stream stream{};
  stream.next_in = const_cast<Bytef*>(bytes.data());
  stream.avail_in = static_cast<uInt>(bytes.size());
  orAbort(inflateInit2(&stream, 47) == Z_OK);
  int status = Z_OK;
  do {
    if (stream.total_out >= size)
      buffer = static_cast<std::uint8_t*>(std::realloc(buffer, size += step));
    stream.next_out = buffer + stream.total_out;
    stream.avail_out = static_cast<uInt>(size - stream.total_out);
    status = inflate(&stream, Z_SYNC_FLUSH);
  } while (status == Z_OK);
  orAbort(status == Z_STREAM_END);
  const std::size_t total = stream.total_out;
  inflateEnd(&stream);
  return {Buffer(buffer, &std::free), total};
}

/// Into a vector that grows so.
Data inflateIntoVector(DataView bytes) {
  const std::size_t step = bytes.size() / 2;
  Data result(bytes.size() + step);
  z_stream stream{};
  stream.next_in = const_cast<Bytef*>(bytes.data());
  stream.avail_in = static_cast<uInt>(bytes.size());
  orAbort(inflateInit2(&stream, 47) == Z_OK);
  int status = Z_OK;
  do {
    if (stream.total_out >= result.size()) result.resize(result.size() + step);
    stream.next_out = result.data() + stream.total_out;
    stream.avail_out = static_cast<uInt>(result.size() - stream.total_out);
    status = inflate(&stream, Z_SYNC_FLUSH);
  } while (status == Z_OK);
  orAbort(status == Z_STREAM_END);
  result.resize(stream.total_out);
  inflateEnd(&stream);
  return result;
}

void addLargeInflate(const std::string& work, const Data& stream, std::size_t size) {
  orAbort(kelm::VaspGzip::gzipInflate(stream)->size() == size);
  orAbort(inflateOfZlib(stream).second == size);
  addPair(
      work, [stream] { return kelm::VaspGzip::gzipInflate(stream); },
      [stream] { return inflateOfZlib(stream); });
}

void addGzip(const std::string& label, const Data& bytes) {
  const Data stream = deflateOfZlib(bytes);
  orAbort(kelm::VaspGzip::gzipDeflate(bytes) == stream);
  addPair(
      "gzip_deflate_" + label, [bytes] { return kelm::VaspGzip::gzipDeflate(bytes); },
      [bytes] { return deflateOfZlib(bytes); });
  orAbort(kelm::VaspGzip::gzipInflate(stream) == inflateIntoVector(stream));
  addPair(
      "gzip_inflate_" + label, [stream] { return kelm::VaspGzip::gzipInflate(stream); },
      [stream] { return inflateIntoVector(stream); });
}

void addCurves() {
  for (std::size_t size = 16; size <= 1048576; size *= 16) {
    const Data bytes = text(size);
    const std::string letters = kelm::VaspBase64::base64OfData(bytes);
    const Data stream = *kelm::VaspGzip::gzipDeflate(bytes);
    const std::string at = '/' + std::to_string(size);
    add("curve/base64_encode" + at, [bytes] { return kelm::VaspBase64::base64OfData(bytes); });
    add("curve/base64_decode" + at,
        [letters] { return kelm::VaspBase64::dataOfBase64String(letters); });
    add("curve/gzip_inflate" + at, [stream] { return kelm::VaspGzip::gzipInflate(stream); });
  }
}

const bool kAdded = [] {
  addTexts();
  addGzip("text_300KB", text(300000));
  addGzip("json_100KB", json(100000));
  addGzip("random_100KB", randomBytes(100000));
  const Data large = text(std::size_t{64} << 20);
  addLargeInflate("gzip_inflate_text_64MiB", deflateOfZlib(large), large.size());
  const Data zeros(std::size_t{512} << 20);
  addLargeInflate("gzip_inflate_512MiB_of_zeros", deflateOfZlib(zeros), zeros.size());
  addCurves();
  return true;
}();

}  // namespace
