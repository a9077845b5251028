// The search for planted secrets finds them; without that it would prove nothing.
#include <gtest/gtest-spi.h>

#include "kelm/crypto/vasp_base64.h"
#include "kelm/crypto/vasp_crypto_utils.h"
#include "tests/crypto/crypto_fixture.h"

namespace kelm::testing {
namespace {

TEST(Canary, ShowsInEveryFormAndNowhereElse) {
  for (const char* before : {"", "1", "12", "123"}) {
    const Data bytes = dataOf(before + secretText("-after", 32));
    EXPECT_TRUE(showsCanary(textOf(bytes))) << before;
    EXPECT_TRUE(showsCanary(VaspCryptoUtils::hexadecimalStringOfData(bytes))) << before;
    EXPECT_TRUE(showsCanary("text " + VaspBase64::base64OfData(bytes))) << before;
  }
  EXPECT_FALSE(showsCanary("a canary sings"));
}

TEST(Canary, LineOfTheLogThatShowsOneFailsTheTest) {
  EXPECT_NONFATAL_FAILURE_ON_ALL_THREADS(
      {
        LogCapture log;
        VaspLogger::logwithLevel_aspect_from_message(log_level::kInfo, log_aspect::kCrypto,
                                                     "-[T t]", "key %@", secretBytes("", 9));
        static_cast<void>(log.lines());
      },
      "shows a secret");
}

}  // namespace
}  // namespace kelm::testing
