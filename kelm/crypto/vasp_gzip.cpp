#include "kelm/crypto/vasp_gzip.h"

#include <zlib.h>

#include <algorithm>
#include <new>

#include "kelm/logging/vasp_logger.h"

namespace kelm {

namespace {

constexpr int kGzipWindowBits = 15 + 16;
constexpr int kDetectedWindowBits = 15 + 32;  // gzip or zlib, by the header
constexpr int kMemoryLevel = 8;
constexpr std::size_t kInflateStepBytes = 262144;
constexpr std::size_t kPieceBytes = std::size_t{1} << 30;  // zlib counts in 32 bits

/// A zlib stream that is ended with its scope.
class Stream {
 public:
  explicit Stream(int (*end)(z_streamp)) : end_(end) {}
  ~Stream() { end_(&z_); }
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;

  z_stream* operator->() { return &z_; }
  z_stream* get() { return &z_; }

  void setInput(DataView bytes) {
    z_.next_in = const_cast<Bytef*>(bytes.data());
    z_.avail_in = static_cast<uInt>(bytes.size());
  }
  void setOutput(std::span<std::uint8_t> room) {
    z_.next_out = room.data();
    z_.avail_out = static_cast<uInt>(room.size());
  }

 private:
  z_stream z_{};
  int (*end_)(z_streamp);
};

}  // namespace

std::optional<Data> VaspGzip::gzipDeflate(std::optional<DataView> bytes) {
  if (!bytes) return std::nullopt;
  if (bytes->empty()) return Data();
  Stream stream(&deflateEnd);
  if (deflateInit2(stream.get(), Z_DEFAULT_COMPRESSION, Z_DEFLATED, kGzipWindowBits, kMemoryLevel,
                   Z_DEFAULT_STRATEGY) != Z_OK)
    return std::nullopt;
  Data result;
  std::uint8_t chunk[kAppendChunkBytes];
  DataView rest = *bytes;
  do {
    if (stream->avail_in == 0) {
      const DataView piece = rest.first(std::min(rest.size(), kPieceBytes));
      stream.setInput(piece);
      rest = rest.subspan(piece.size());
    }
    stream.setOutput(chunk);
    deflate(stream.get(), rest.empty() ? Z_FINISH : Z_NO_FLUSH);
    append(result, DataView(chunk).first(sizeof chunk - stream->avail_out));
  } while (stream->avail_out == 0 || !rest.empty());
  return result;
}

std::optional<Data> VaspGzip::gzipInflate(std::optional<DataView> bytes) {
  if (!bytes) return std::nullopt;
  if (bytes->empty()) return Data();
  const auto size = static_cast<std::uint32_t>(bytes->size());
  Stream stream(&inflateEnd);
  if (inflateInit2(stream.get(), kDetectedWindowBits) != Z_OK) return std::nullopt;
  stream.setInput(bytes->first(size));
  // Room is made little by little so that it is still in the cache when zlib fills it; the vector
  // moves only when it doubles.
  const std::size_t step = std::min<std::size_t>(std::size_t{size} + size / 2, kInflateStepBytes);
  Data result;
  std::size_t filled = 0;
  int status = Z_OK;
  try {
    result.reserve(std::size_t{size} + size / 2);
    while (status == Z_OK) {
      if (filled == result.size()) result.resize(filled + step);
      stream.setOutput(std::span(result).subspan(filled));
      status = inflate(stream.get(), Z_SYNC_FLUSH);
      filled = result.size() - stream->avail_out;
    }
    result.resize(filled);
  } catch (const std::bad_alloc&) {
    return std::nullopt;
  }
  if (status == Z_STREAM_END && inflateEnd(stream.get()) == Z_OK) return result;
  if (status == Z_STREAM_ERROR)
    VaspLogger::logwithLevel_aspect_from_message(log_level::kError, log_aspect::kFrontend,
                                                 "+[VaspGzip gzipInflate:]", "inflate error...");
  return std::nullopt;
}

}  // namespace kelm
