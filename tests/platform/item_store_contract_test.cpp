#include "tests/platform/item_store_contract.h"

#include "kelm/testing/memory_item_store.h"
#include "tests/platform/item_store_world.h"

namespace kelm::testing {
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
                         ::testing::Values(ItemStoreMaker{"Memory", inMemory},
                                           ItemStoreMaker{"Sqlite", inSqlite}),
                         ::testing::PrintToStringParamName());

}  // namespace
}  // namespace kelm::testing
