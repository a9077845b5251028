#pragma once

#include <optional>

#include "kelm/base/data.h"
#include "kelm/base/export.h"

namespace kelm {

/// gzip (RFC 1952) with zlib. Stateless and thread-safe. Never throws.
class KELM_API VaspGzip {
 public:
  VaspGzip() = delete;

  /// `gzipDeflate:` One gzip member, at zlib's default level and without a name or time: the same
  /// bytes for the same input. Empty bytes come back empty, absent ones absent. Absent when zlib
  /// gets no memory.
  static std::optional<Data> gzipDeflate(std::optional<DataView> bytes);
  /// `gzipInflate:` The content of the first gzip member or zlib stream (RFC 1950); what follows it
  /// is ignored. Empty bytes come back empty. Absent for absent bytes, anything else that is no
  /// such stream, a damaged or cut one, one that needs a preset dictionary, and one whose content
  /// does not fit into memory. The size of the content is not limited: a hostile megabyte holds up
  /// to a gigabyte. Lengths count modulo 2^32.
  static std::optional<Data> gzipInflate(std::optional<DataView> bytes);
};

}  // namespace kelm
