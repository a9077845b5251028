// link: kelm_crypto ZLIB::ZLIB
// Streams from strangers: the result is what zlib makes of the stream in one call with room enough.

#include <zlib.h>

#include <cstdlib>

#include "kelm/crypto/vasp_gzip.h"

namespace {

std::optional<kelm::Data> reference(kelm::DataView stream) {
  kelm::Data content(stream.size() * 1040 + 64);  // deflate packs 1032 to 1 at most
  z_stream z{};
  z.next_in = const_cast<Bytef*>(stream.data());
  z.avail_in = static_cast<uInt>(stream.size());
  z.next_out = content.data();
  z.avail_out = static_cast<uInt>(content.size());
  const int started = inflateInit2(&z, 47);
  const int status = started == Z_OK ? inflate(&z, Z_FINISH) : started;
  content.resize(z.total_out);
  inflateEnd(&z);
  return status == Z_STREAM_END ? std::optional(content) : std::nullopt;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const kelm::DataView input(bytes, size);
  const auto content = kelm::VaspGzip::gzipInflate(input);
  if (size > 0 && content != reference(input)) std::abort();
  const auto stream = kelm::VaspGzip::gzipDeflate(input);
  if (kelm::VaspGzip::gzipInflate(*stream) != kelm::Data(bytes, bytes + size)) std::abort();
  return 0;
}
