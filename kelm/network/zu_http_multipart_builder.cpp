#include "kelm/network/zu_http_multipart_builder.h"

#include <cstdlib>

#include "kelm/base/format.h"
#include "kelm/logging/vasp_logger.h"

namespace kelm {

namespace {

constexpr std::size_t kBoundaryCharacters = 32;
constexpr std::size_t kHeaderBytes = 160;  // the fixed text around a part, and to spare

std::string makeBoundary() {
  std::string boundary(kBoundaryCharacters, '\0');
  for (char& c : boundary)
    c = "0123456789ABCDEF"[std::rand() % 16];  // NOLINT(concurrency-mt-unsafe): glibc's locks
  return boundary;
}

std::size_t sizeOf(const std::optional<std::string>& text) { return text ? text->size() : 0; }

std::size_t bodyBound(const MultiPartList& parts, std::size_t boundaryBytes) {
  std::size_t bytes = boundaryBytes + kHeaderBytes;
  for (const auto& part : parts) {
    if (!part) continue;
    const Data* content = part->object() ? part->object()->get<Data>() : nullptr;
    bytes += kHeaderBytes + boundaryBytes + sizeOf(part->key()) + sizeOf(part->value()) +
             sizeOf(part->contentType()) + (content ? content->size() : 0);
  }
  return bytes;
}

}  // namespace

Data ZuHTTPMultipartBuilder::multipartDataWithParameters_boundary(const MultiPartList& parts,
                                                                  std::string* boundary) {
  if (boundary != nullptr && boundary->empty()) *boundary = makeBoundary();
  const std::string delimiter = "--" + (boundary != nullptr ? *boundary : std::string());
  Data body;
  body.reserve(bodyBound(parts, delimiter.size()));
  for (const auto& part : parts) {
    if (!part) continue;
    append(body, delimiter);
    append(body, "\r\n");
    if (part->object()) {
      appendToMultipartData_key_keyParam_value_contentType(body, part->key(), part->value(),
                                                           *part->object(), part->contentType());
    } else {
      appendToMultipartData_key_value(body, part->key(), part->value());
    }
    append(body, "\r\n");
  }
  append(body, delimiter);
  append(body, "--\r\n");
  return body;
}

void ZuHTTPMultipartBuilder::appendToMultipartData_key_keyParam_value_contentType(
    Data& body, const std::optional<std::string>& key, const std::optional<std::string>& fileName,
    const Value& content, const std::optional<std::string>& contentType) {
  const Data* const bytes = content.get<Data>();
  if (bytes == nullptr) {
    VaspLogger::logwithLevel_aspect_from_message(
        log_level::kInfo, log_aspect::kNet,
        "+[ZuHTTPMultipartBuilder appendToMultipartData:key:keyParam:value:contentType:]",
        "ERROR!! Value is not Data!!");
    return;
  }
  append(body, format("Content-Disposition: form-data; name=\"%@\"; filename=\"%@\"\r\n"
                      "Content-Type: %@\r\nContent-Length: %@\r\n\r\n",
                      key, fileName, contentType, bytes->size()));
  append(body, *bytes);
}

void ZuHTTPMultipartBuilder::appendToMultipartData_key_value(
    Data& body, const std::optional<std::string>& key, const std::optional<std::string>& value) {
  const std::string_view text = value ? std::string_view(*value) : "(null)";
  append(body, format("Content-Disposition: form-data; name=\"%@\"\r\nContent-Length: %@\r\n\r\n",
                      key, text.size()));
  append(body, text);
}

}  // namespace kelm
