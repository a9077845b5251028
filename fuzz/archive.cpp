// link: kelm_base

#include <cstdint>
#include <cstdlib>

#include "kelm/base/describe.h"
#include "kelm/base/keyed_archive.h"
#include "kelm/base/property_list.h"

namespace {

using namespace kelm;

/// Holds what it decoded, and now and then a second reading of it.
class Box final : public Archivable {
 public:
  explicit Box(Value content) : content_(std::move(content)) {}
  std::string archiveClassName() const override { return "Box"; }
  void encodeWith(KeyedEncoder& encoder) const override { encoder.encode("content", content_); }
  std::string description() const override { return "box of " + describe(content_); }
  static ObjectPointer decodedFrom(KeyedDecoder& decoder) {
    (void)decoder.decode("other");
    (void)decoder.decode("content");
    return std::make_shared<Box>(decoder.decode("content").value_or(Null{}));
  }

 private:
  Value content_;
};

}  // namespace

/// As a property list and as an archive: what reads must write, and read back as the same text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static const bool registered = registerArchivableClass("Box", Box::decodedFrom);
  (void)registered;
  const DataView input(bytes, size);
  if (const Result<Value> list = parsePropertyList(input)) {
    const auto text = writePropertyList(*list);
    if (!text) std::abort();
    const Result<Value> again = parsePropertyList(bytesOf(*text));
    if (!again || writePropertyList(*again) != text) std::abort();
  }
  if (const Result<Value> value = unarchivedValue(input)) {
    const Result<Data> archive = archivedData(*value);
    if (!archive) std::abort();
    const Result<Value> again = unarchivedValue(*archive);
    if (!again || describe(*again) != describe(*value)) std::abort();
  }
  return 0;
}
