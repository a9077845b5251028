// link: kelm_crypto ZLIB::ZLIB
// Streams from strangers: the result is what zlib makes of the stream in one call with room enough.

#include <zlib.h>

#include "fuzz/support/target.h"
#include "kelm/crypto/vasp_gzip.h"

namespace kelm::fuzz {

static std::optional<Data> reference(DataView stream) {
  Data content(stream.size() * 1040 + 64);  // deflate packs 1032 to 1 at most
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

void run(DataView input) {
  require(input.empty() || VaspGzip::gzipInflate(input) == reference(input));
  const auto stream = VaspGzip::gzipDeflate(input);
  require(VaspGzip::gzipInflate(*stream) == Data(input.begin(), input.end()));
}

}  // namespace kelm::fuzz
