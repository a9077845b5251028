// link: kelm_collections
// Steps on an ordered dictionary, which must do what its model does; and the input as an archive,
// in which an ordered dictionary that is read must be written and read back as an equal one.

#include "fuzz/support/target.h"
#include "kelm/base/describe.h"
#include "kelm/base/keyed_archive.h"
#include "tests/collections/ordered_model.h"

namespace kelm::fuzz {

static void readBack(DataView bytes) {
  const Result<Value> value = unarchivedValue(bytes);
  const auto* object = value ? value->get<ObjectPointer>() : nullptr;
  const auto* dictionary =
      object ? dynamic_cast<const VaspOrderedDictionary*>(object->get()) : nullptr;
  if (!dictionary) return;
  require(dictionary->allValues().size() == dictionary->allKeys().size());
  require(dictionary->isEqualToDictionary(*dictionary->copy()));
  const Result<Data> archive = archivedData(*value);
  require(static_cast<bool>(archive));
  const Result<Value> again = unarchivedValue(*archive);
  // As text: a number that is none equals nothing.
  require(again && describe(*again) == describe(*value));
}

void run(DataView input) {
  test::OrderedPair pair;
  for (std::size_t i = 0; i + 3 <= input.size(); i += 3)
    require(!pair.step(input[i], input[i + 1], input[i + 2]));
  require(!pair.difference());
  readBack(input);
}

}  // namespace kelm::fuzz
