#include "tests/platform/item_store_contract.h"

#include "tests/platform/item_store_world.h"
#include "tests/support/memory_item_store.h"

namespace kelm::test {
namespace {

ItemStoreWorld inMemory() {
  auto store = std::make_shared<MemoryItemStore>(std::make_shared<ManualClock>());
  return {store, [store] { return store; }, nullptr};
}

ItemStoreWorld inSqlite() {
  auto folder = std::make_shared<ItemFolder>();
  return {folder->open(), [folder] { return folder->open(); }, folder};
}

INSTANTIATE_TEST_SUITE_P(Stores, ItemStoreContract,
                         testing::Values(ItemStoreMaker{"Memory", inMemory},
                                         ItemStoreMaker{"Sqlite", inSqlite}),
                         testing::PrintToStringParamName());

}  // namespace
}  // namespace kelm::test
