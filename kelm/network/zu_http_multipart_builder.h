#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "kelm/base/data.h"
#include "kelm/base/export.h"
#include "kelm/base/value.h"
#include "kelm/network/multi_part_form_data_object.h"

namespace kelm {

/// Builds "multipart/form-data" bodies (RFC 7578, with a Content-Length in every part). Names are
/// written as they are: a quote or a line break in one is not escaped, and the boundary is not
/// looked for in the contents. Callers that take names from outside check them first. Stateless;
/// thread-safe.
class KELM_API ZuHTTPMultipartBuilder {
 public:
  ZuHTTPMultipartBuilder() = delete;

  /// `multipartDataWithParameters:boundary:` The body. An empty `*boundary` is replaced by 32
  /// hexadecimal digits from std::rand, which is not seeded for this; another one is used and
  /// kept; without a slot (nullptr) the boundary is empty. Null parts are skipped. A part whose
  /// object is no byte buffer stays empty, with one INFO line.
  static Data multipartDataWithParameters_boundary(const MultiPartList& parts,
                                                   std::string* boundary);

  /// `appendToMultipartData:key:keyParam:value:contentType:` Appends the headers and the content
  /// of a file; nothing but one INFO line when the content is no byte buffer.
  static void appendToMultipartData_key_keyParam_value_contentType(
      Data& body, const std::optional<std::string>& key, const std::optional<std::string>& fileName,
      const Value& content, const std::optional<std::string>& contentType);

  /// `appendToMultipartData:key:value:` Appends the headers and the text of a text part. An absent
  /// name or text is written as "(null)".
  static void appendToMultipartData_key_value(Data& body, const std::optional<std::string>& key,
                                              const std::optional<std::string>& value);
};

}  // namespace kelm
