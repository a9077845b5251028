// link: kelm_collections
// As a property list and as an archive: what reads must write, and read back as the same text.

#include "fuzz/support/target.h"
#include "kelm/base/coding/keyed_archive.h"
#include "kelm/base/coding/property_list.h"
#include "kelm/base/describe.h"
#include "kelm/collections/vasp_ordered_dictionary.h"

namespace kelm::fuzz {
namespace {

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

void run(DataView input) {
  static const bool registered = registerArchivableClass("Box", Box::decodedFrom);
  static const VaspOrderedDictionary linked;  // its class is registered in its source
  require(registered && linked.count() == 0);
  if (const Result<Value> list = parsePropertyList(input)) {
    const auto text = writePropertyList(*list);
    require(text.has_value());
    const Result<Value> again = parsePropertyList(bytesOf(*text));
    require(again && writePropertyList(*again) == text);
  }
  if (const Result<Value> value = unarchivedValue(input)) {
    const Result<Data> archive = archivedData(*value);
    require(static_cast<bool>(archive));
    const Result<Value> again = unarchivedValue(*archive);
    require(again && describe(*again) == describe(*value));
  }
}

}  // namespace kelm::fuzz
