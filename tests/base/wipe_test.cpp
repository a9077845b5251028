#include "kelm/base/wipe.h"

#include <gtest/gtest.h>

namespace kelm {
namespace {

TEST(Wipe, LeavesZerosInTheWholeStorage) {
  Data secret = dataOf("secret");
  wipe(secret);
  EXPECT_EQ(secret, Data(6, 0));

  std::string text(100, 's');
  text.resize(3);  // the rest stays in the storage
  const char* const storage = text.data();
  wipe(text);
  EXPECT_TRUE(text.empty());
  ASSERT_EQ(text.data(), storage);
  EXPECT_GE(text.capacity(), 100U);
  text.resize(text.capacity());
  EXPECT_EQ(text, std::string(text.capacity(), '\0'));
}

TEST(EqualInConstantTime, FindsADifferenceInAnyBit) {
  const Data data = dataOf("0123456789");
  EXPECT_TRUE(equalInConstantTime(data, dataOf("0123456789")));
  EXPECT_TRUE(equalInConstantTime({}, {}));
  EXPECT_FALSE(equalInConstantTime(data, dataOf("012345678")));
  for (std::size_t bit = 0; bit < 8 * data.size(); ++bit) {
    Data other = data;
    other[bit / 8] = static_cast<std::uint8_t>(other[bit / 8] ^ 1 << bit % 8);
    EXPECT_FALSE(equalInConstantTime(data, other)) << bit;
  }
}

}  // namespace
}  // namespace kelm
