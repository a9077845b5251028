#include "kelm/crypto/vasp_pbkdf2.h"

#include "tests/crypto/crypto_fixture.h"

namespace kelm::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr auto& ofData = VaspPBKDF2::pbkdf2OfPasswordData_withSalt_expectingSize_performingRound;
constexpr auto& ofText = VaspPBKDF2::pbkdf2OfPassword_withSalt_expectingSize_performingRound;

const DataView kPassword = bytesOf("canary5e7-password");
const DataView kSalt = bytesOf("canary5e7-salt");

std::string dataLine(const std::string& message) {
  return "4 0x200004 +[VaspPBKDF2 "
         "pbkdf2OfPasswordData:withSalt:expectingSize:performingRound:] PBKDF2 Error: " +
         message;
}

TEST(VaspPBKDF2, TheFirstBadArgumentInOrderIsLogged) {
  using Bytes = std::optional<DataView>;
  const std::tuple<Bytes, Bytes, std::uint32_t, std::uint32_t, std::string> rows[] = {
      {std::nullopt, std::nullopt, 4097, 0, "Unable to get a data from password!"},
      {DataView(), kSalt, 16, 1, "Unable to get a data from password!"},
      {kPassword, std::nullopt, 4097, 0, "requested size too large!"},
      {kPassword, std::nullopt, 4096, 0, "requested round count invalid"},
      {kPassword, kSalt, 16, 100000001, "requested round count invalid"},
      {kPassword, std::nullopt, 4096, 100000000, "salt lenght is zero"},
      {kPassword, DataView(), 0, 1, "salt lenght is zero"},
      {kPassword, kSalt, 0, 1, "-1 performing PBDF2 from source params"},
  };
  LogCapture log;
  for (const auto& [password, salt, size, rounds, message] : rows) {
    EXPECT_EQ(ofData(password, salt, size, rounds), std::nullopt);
    EXPECT_THAT(recordsOf(log), ElementsAre(dataLine(message)));
    log.clear();
  }
}

TEST(VaspPBKDF2, TextFormTakesUtf8BytesAndWantsBothInputsFirst) {
  LogCapture log;
  EXPECT_EQ(ofText("pässword", kSalt, 20, 3), ofData(bytesOf("p\xC3\xA4ssword"), kSalt, 20, 3));
  EXPECT_EQ(ofText(std::string_view("a\0b", 3), kSalt, 20, 3),
            ofData(Data{'a', 0, 'b'}, kSalt, 20, 3));
  EXPECT_THAT(recordsOf(log), IsEmpty());
  EXPECT_EQ(ofText("", kSalt, 4097, 0), std::nullopt);
  EXPECT_EQ(ofText(std::nullopt, kSalt, 16, 1), std::nullopt);
  EXPECT_EQ(ofText("x", DataView(), 16, 1), std::nullopt);
  EXPECT_EQ(ofText("x", std::nullopt, 16, 1), std::nullopt);
  const std::string line =
      "4 0x200004 +[VaspPBKDF2 pbkdf2OfPassword:withSalt:expectingSize:performingRound:] PBKDF2 "
      "Error: (password || salt) lenght is zero";
  EXPECT_THAT(recordsOf(log), ElementsAre(line, line, line, line));
  log.clear();
  EXPECT_EQ(ofText("x", kSalt, 4097, 0), std::nullopt);
  EXPECT_THAT(recordsOf(log), ElementsAre(dataLine("requested size too large!")));
}

TEST(VaspPBKDF2, InputsOfTwoGibibytesAreRefusedUnreadWithTheStatus) {
  const DataView huge(kSalt.data(), std::size_t{1} << 31);
  const LogCapture log;
  EXPECT_EQ(ofData(kPassword, huge, 16, 1), std::nullopt);
  EXPECT_EQ(ofData(huge, kSalt, 16, 1), std::nullopt);
  const std::string line = dataLine("-1 performing PBDF2 from source params");
  EXPECT_THAT(recordsOf(log), ElementsAre(line, line));
}

}  // namespace
}  // namespace kelm::testing
