#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <future>
#include <optional>
#include <string>

#include "kelm/platform/linux/authentication/services.h"
#include "kelm/testing/temporary_folder.h"

namespace kelm::testing {
namespace {

using namespace std::chrono_literals;

/// A system with a service of PAM whose one passcode is 1234, and an account.
struct AccountWorld {
  AccountWorld() {
    const std::string modules =
        "required pam_exec.so expose_authtok quiet /bin/sh " + folder / "check" + "\n";
    write("check",
          "if [ \"$PAM_TYPE\" = account ]; then exit 0; fi\n"
          "[ \"$(tr -d '\\0')\" = 1234 ]\n");
    write("kelm", "auth " + modules + "account required pam_permit.so\n");
    options.serviceFolders = {folder.path()};
    options.configuration = folder.path();
    options.shadowFile = folder / "shadow";
    options.user = "root";
  }
  void write(const std::string& name, const std::string& content) const {
    std::ofstream(folder / name) << content;
  }
  std::shared_ptr<platform::LocalAuthentication> make() const {
    return platform::makeSystemAuthentication(options);
  }
  /// Answers the prompt by `passcode`, absent: the user gives up.
  std::int32_t evaluated(std::optional<std::string> passcode) const {
    const auto authentication = make();
    authentication->setPrompt({[passcode](const auto&) { return passcode; }, {}});
    const auto error = std::make_shared<std::promise<std::int32_t>>();
    authentication->evaluate(
        {.policy = AuthenticationPolicy::DeviceOwner, .reason = "Refund", .fallbackTitle = {}},
        [error](std::int32_t code) { error->set_value(code); });
    return error->get_future().get();
  }

  TemporaryFolder folder;
  platform::SystemAuthenticationOptions options;
};

TEST(SystemAuthentication, PasscodeIsSetWhereTheAccountHasAUsableHashAndTheServiceExists) {
  const AccountWorld world;
  const auto passcode = [&] {
    const auto ability = world.make()->ability(AuthenticationPolicy::DeviceOwner);
    return ability.error == 0 ? int{ability.canEvaluate} : ability.error;
  };
  for (const auto& [line, isSet] : {std::pair{"root:$y$j9T$abc$def:19000:0:99999:7:::", 1},
                                    {"root::19000:0:99999:7:::", 0},
                                    {"root:!:19000::::::", 0},
                                    {"root:!$y$j9T$abc:19000::::::", 0},
                                    {"root:*:19000::::::", 0},
                                    {"root", 1},        // says nothing: the account's answer counts
                                    {"rooter:*:1", 1},  // another one's
                                    {"", 1}}) {
    world.write("shadow", std::string("daemon:*:1::::::\n") + line);
    EXPECT_EQ(passcode(), isSet) << line;
  }
  EXPECT_EQ(world.make()->ability(AuthenticationPolicy::Biometrics).error, -6);
  EXPECT_EQ(world.make()->missing(), "");
}

TEST(SystemAuthentication, PamSaysWhetherThePasscodeIsRight) {
  const AccountWorld world;
  world.write("shadow", "root:$y$j9T$abc$def:19000:0:99999:7:::");
  EXPECT_EQ(world.evaluated("1234"), 0);
  EXPECT_EQ(world.evaluated("1235"), -1);
  EXPECT_EQ(world.evaluated(std::nullopt), -2);
}

TEST(SystemAuthentication, NothingInstalledIsAnsweredWithinAHundredMilliseconds) {
  AccountWorld world;
  world.options.serviceFolders = {world.folder / "none"};
  const auto start = std::chrono::steady_clock::now();
  const auto authentication = world.make();
  const auto ability = authentication->ability(AuthenticationPolicy::DeviceOwner);
  EXPECT_FALSE(ability.canEvaluate);
  EXPECT_EQ(ability.error, 0);
  EXPECT_TRUE(authentication->isProtectedDataAvailable());
  EXPECT_THAT(authentication->missing(), ::testing::HasSubstr("none/kelm is missing"));
  EXPECT_EQ(world.evaluated("1234"), -5);
  EXPECT_LT(std::chrono::steady_clock::now() - start, 100ms);
}

}  // namespace
}  // namespace kelm::testing
