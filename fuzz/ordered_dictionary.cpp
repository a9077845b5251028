// link: kelm_collections
// Steps on an ordered dictionary, which must do what its model does; and the input as an archive,
// in which an ordered dictionary that is read must be written and read back as an equal one.

#include <cstdint>
#include <cstdlib>

#include "kelm/base/describe.h"
#include "kelm/base/keyed_archive.h"
#include "tests/collections/ordered_model.h"

namespace {

using namespace kelm;

void check(bool holds) {
  if (!holds) std::abort();
}

void walk(DataView bytes) {
  test::OrderedPair pair;
  for (std::size_t i = 0; i + 3 <= bytes.size(); i += 3)
    check(!pair.step(bytes[i], bytes[i + 1], bytes[i + 2]));
  check(!pair.difference());
}

void readBack(DataView bytes) {
  const Result<Value> value = unarchivedValue(bytes);
  const auto* object = value ? value->get<ObjectPointer>() : nullptr;
  const auto* dictionary =
      object ? dynamic_cast<const VaspOrderedDictionary*>(object->get()) : nullptr;
  if (!dictionary) return;
  check(dictionary->allValues().size() == dictionary->allKeys().size());
  check(dictionary->isEqualToDictionary(*dictionary->copy()));
  const Result<Data> archive = archivedData(*value);
  check(static_cast<bool>(archive));
  const Result<Value> again = unarchivedValue(*archive);
  // As text: a number that is none equals nothing.
  check(again && describe(*again) == describe(*value));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const DataView input(bytes, size);
  walk(input);
  readBack(input);
  return 0;
}
