#include "kelm/platform/user_defaults.h"

#include <limits>

#include "kelm/testing/memory_bundle.h"
#include "kelm/testing/memory_user_defaults.h"
#include "tests/platform/file_world.h"
#include "tests/platform/scoped_variable.h"

namespace kelm::testing {
namespace {

std::shared_ptr<platform::UserDefaults> linuxDefaults() {
  const ScopedVariable folder("XDG_CONFIG_HOME", "/config");
  return platform::UserDefaults::makeSystem();
}

class UserDefaultsContract
    : public ::testing::TestWithParam<std::shared_ptr<platform::UserDefaults> (*)()> {
 protected:
  platform::ScopedService<platform::FileSystem> files_{std::make_shared<MemoryFileSystem>()};
  platform::ScopedService<platform::Bundle> bundle_{std::make_shared<MemoryBundle>()};
  std::shared_ptr<platform::UserDefaults> defaults_ = GetParam()();

  void set(std::string_view key, Value value) {
    ASSERT_FALSE(defaults_->setObject(key, std::move(value)));
  }
};
INSTANTIATE_TEST_SUITE_P(Each, UserDefaultsContract,
                         ::testing::Values(linuxDefaults,
                                           []() -> std::shared_ptr<platform::UserDefaults> {
                                             return std::make_shared<MemoryUserDefaults>();
                                           }),
                         [](const auto& defaults) {
                           return defaults.index == 0 ? "Linux" : "Memory";
                         });

TEST_P(UserDefaultsContract, ValuesReadBackAsTheyWereSetUnlessJsonHasNoFormForThem) {
  const Value kValues[] = {
      std::numeric_limits<std::uint64_t>::max(), true, List{1, "a", Null{}}, 1.5,
      Dictionary{{"b", 2}, {"a", List{}}},       ""};
  for (const Value& value : kValues) {
    set("key", value);
    EXPECT_EQ(defaults_->object("key"), value);
  }
  for (const Value& value : {Value(Data{1}), Value(Date{1}), Value(List{Data{}}),
                             Value(std::numeric_limits<double>::quiet_NaN()), Value("\xff")}) {
    const Failure failure = defaults_->setObject("key", value);
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->domain, error_domain::kFormat);
    EXPECT_EQ(defaults_->text("key"), "");
  }
  for (int i = 0; i < 2; ++i) {
    set("key", Null{});
    EXPECT_EQ(defaults_->object("key"), std::nullopt);
  }
}

TEST_P(UserDefaultsContract, TextsAndNumbersStandForEachOther) {
  const struct {
    Value value;
    std::optional<std::string> text;
    std::int64_t integer;
  } kCases[] = {
      {" \t12x", " \t12x", 12},
      {"- 7", "- 7", 0},
      {"9223372036854775808", "9223372036854775808", std::numeric_limits<std::int64_t>::max()},
      {"-99999999999999999999", "-99999999999999999999", std::numeric_limits<std::int64_t>::min()},
      {-2.9, "-2.9", -2},
      {true, "1", 1},
      {List{1}, std::nullopt, 0},
      {Null{}, std::nullopt, 0}};
  for (const auto& c : kCases) {
    set("key", c.value);
    EXPECT_EQ(defaults_->text("key"), c.text);
    EXPECT_EQ(defaults_->integer("key"), c.integer) << c.text.value_or("");
  }
}

constexpr const char* kFile = "/config/com.example.till/defaults.json";

struct DefaultsInFile : ::testing::Test {
  std::shared_ptr<MemoryFileSystem> files = std::make_shared<MemoryFileSystem>();
  platform::ScopedService<platform::FileSystem> filesScope{files};
  platform::ScopedService<platform::Bundle> bundleScope{std::make_shared<MemoryBundle>()};
  std::shared_ptr<platform::UserDefaults> defaults = linuxDefaults();

  void write(std::string_view json) {
    ASSERT_FALSE(files->createDirectories("/config/com.example.till"));
    ASSERT_FALSE(files->replaceFile(kFile, bytesOf(json)));
  }
  std::string text(const std::string& path = kFile) {
    const auto content = files->readFile(path);
    return content ? std::string(textOf(*content)) : "(none)";
  }
};

TEST_F(DefaultsInFile, EditsOfOthersAreSeenByTheNextReadAndKept) {
  ASSERT_FALSE(defaults->setObject("logserver", "a.example"));
  write(R"({"logserver": "b.example"})");
  EXPECT_EQ(defaults->text("logserver"), "b.example");
  ASSERT_FALSE(defaults->setObject("mine", 2));
  EXPECT_EQ(linuxDefaults()->text("logserver"), "b.example");
}

TEST_F(DefaultsInFile, EveryFailedCallLeavesTheOldSettings) {
  write(R"({"key": "old", "other": 1})");
  Failure failure;
  std::uint64_t number = 0;
  do {
    const auto fresh = linuxDefaults();
    files->failCall(++number);
    failure = fresh->setObject("key", "new");
    EXPECT_EQ(failure ? failure->code : EIO, EIO);
    files->stopFailing();
    for (const auto& reader : {fresh, linuxDefaults()}) {
      EXPECT_EQ(reader->text("key"), failure ? "old" : "new");
      EXPECT_EQ(reader->integer("other"), 1);
    }
  } while (failure && number < 20);
  EXPECT_FALSE(failure);
  EXPECT_GT(number, 2U);
}

TEST_F(DefaultsInFile, MalformedFileReadsAsEmptyAndIsKeptAsideBeforeItIsReplaced) {
  for (const char* const broken : {"{\"key\": ", "[1]", "\xff", "{\"a\":1}x"}) {
    write(broken);
    EXPECT_EQ(defaults->object("key"), std::nullopt) << broken;
    EXPECT_EQ(text(), broken) << "reading must not change the file";
    ASSERT_FALSE(defaults->setObject("key", 1));
    EXPECT_EQ(text(std::string(kFile) + ".broken"), broken);
    EXPECT_EQ(linuxDefaults()->integer("key"), 1);
  }
}

TEST(LinuxUserDefaults, FileLiesWithTheUsersConfigurationAndIsHisAlone) {
  const FileWorld world = FileWorld::real();
  const ScopedVariable folder("XDG_CONFIG_HOME", world.root());
  const platform::ScopedService<platform::Bundle> bundle(std::make_shared<MemoryBundle>());
  const auto defaults = platform::UserDefaults::makeSystem();
  ASSERT_FALSE(defaults->setObject("logserver", "a.example"));
  EXPECT_EQ(world.text("com.example.till/defaults.json"), "{\n  \"logserver\" : \"a.example\"\n}");
  EXPECT_EQ(world->status(world.at("com.example.till/defaults.json"))->permissions, 0600U);
}

}  // namespace
}  // namespace kelm::testing
