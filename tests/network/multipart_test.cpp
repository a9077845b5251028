#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <random>
#include <string>

#include "kelm/base/describe.h"
#include "kelm/base/json.h"
#include "kelm/network/zu_http_multipart_builder.h"
#include "tests/network/network_fixture.h"
#include "tests/support/temporary_folder.h"

namespace kelm {
namespace {

using test::NetworkFixture;
using testing::ElementsAre;

std::shared_ptr<MultiPartFormDataObject> part(std::optional<std::string> key,
                                              std::optional<std::string> value,
                                              std::optional<Value> object = std::nullopt,
                                              std::optional<std::string> type = std::nullopt) {
  auto made = std::make_shared<MultiPartFormDataObject>();
  made->setKey(std::move(key));
  made->setValue(std::move(value));
  made->setObject(std::move(object));
  made->setContentType(std::move(type));
  return made;
}

std::string bodyOf(const MultiPartList& parts, std::string boundary) {
  return std::string(
      textOf(ZuHTTPMultipartBuilder::multipartDataWithParameters_boundary(parts, &boundary)));
}

TEST(Multipart, EachKindOfPartHasItsLayout) {
  const NetworkFixture f;
  const struct {
    MultiPartList parts;
    std::string body;
  } kRows[] = {
      {{}, "--B--\r\n"},
      {{part("a", "é")},
       "--B\r\nContent-Disposition: form-data; name=\"a\"\r\nContent-Length: 2\r\n\r\né\r\n--B--"
       "\r\n"},
      {{part("f", "n.bin", Data{0, 13, 10, 255}, "image/png")},
       "--B\r\nContent-Disposition: form-data; name=\"f\"; filename=\"n.bin\"\r\n"
       "Content-Type: image/png\r\nContent-Length: 4\r\n\r\n" +
           std::string("\0\r\n\xff", 4) + "\r\n--B--\r\n"},
      {{part("f", "n", Data{}, "t"), nullptr, part("", "")},
       "--B\r\nContent-Disposition: form-data; name=\"f\"; filename=\"n\"\r\nContent-Type: t\r\n"
       "Content-Length: 0\r\n\r\n\r\n--B\r\nContent-Disposition: form-data; name=\"\"\r\n"
       "Content-Length: 0\r\n\r\n\r\n--B--\r\n"},
      {{part("a\"\r\nX: y", "--B--")},
       "--B\r\nContent-Disposition: form-data; name=\"a\"\r\nX: y\"\r\nContent-Length: 5\r\n\r\n"
       "--B--\r\n--B--\r\n"},
      {{part(std::nullopt, std::nullopt)},
       "--B\r\nContent-Disposition: form-data; name=\"(null)\"\r\nContent-Length: 6\r\n\r\n(null)"
       "\r\n--B--\r\n"},
  };
  for (const auto& row : kRows)
    EXPECT_EQ(bodyOf(row.parts, "B"), row.body);
}

TEST(Multipart, BoundaryIsKeptMadeOrEmptyByTheSlot) {
  std::string kept = "XYZ", first, second;
  using Builder = ZuHTTPMultipartBuilder;
  EXPECT_EQ(textOf(Builder::multipartDataWithParameters_boundary({}, &kept)), "--XYZ--\r\n");
  EXPECT_EQ(kept, "XYZ");
  EXPECT_EQ(textOf(Builder::multipartDataWithParameters_boundary({}, nullptr)), "----\r\n");
  std::srand(124);
  const Data body = Builder::multipartDataWithParameters_boundary({}, &first);
  EXPECT_EQ(textOf(body), "--" + first + "--\r\n");
  (void)Builder::multipartDataWithParameters_boundary({}, &second);
  EXPECT_NE(first, second);
  EXPECT_THAT(first, testing::MatchesRegex("[0-9A-F]{32}"));
  std::srand(124);
  std::string expected;
  for (int i = 0; i < 32; ++i)
    expected += "0123456789ABCDEF"[std::rand() % 16];
  EXPECT_EQ(first, expected);
}

/// Random lists of parts, as objects and as the line of JSON that the oracle reads.
class RandomParts {
 public:
  std::pair<MultiPartList, std::string> next() {
    MultiPartList parts;
    List described;
    for (unsigned i = below(8); i > 0; --i) {
      const bool clean = clean_, isFile = below(2) == 0;
      const std::string key = text(clean), value = text(clean), type = text(clean);
      const Data content = bytes();
      parts.push_back(isFile ? part(key, value, content, type) : part(key, value));
      described.push_back(List{key, value, isFile ? Value(hex(content)) : Value(Null{}), type});
    }
    clean_ = !clean_;
    boundary_ = below(10) == 0 ? "B" : text(true);
    return {parts, *writeJson(Dictionary{{"boundary", boundary_}, {"parts", described}})};
  }
  const std::string& boundary() const { return boundary_; }

  static std::string hex(DataView data) {
    std::string digits;
    for (const std::uint8_t byte : data) {
      digits += "0123456789abcdef"[byte / 16];
      digits += "0123456789abcdef"[byte % 16];
    }
    return digits;
  }

 private:
  unsigned below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }
  std::string text(bool clean) {
    static const std::vector<std::string> kOdd{"\"", "\r\n", "é", "𝄞", "--", ";", "\\", " ", "%@"};
    std::string out(1, static_cast<char>('a' + below(26)));
    for (unsigned i = below(6); i > 0; --i) {
      const auto letter = static_cast<char>('a' + below(26));
      out += clean || below(2) == 0 ? std::string(1, letter) : kOdd[below(kOdd.size())];
    }
    return out;
  }
  Data bytes() {
    Data data(below(4) == 0 ? below(5000) : below(40));
    for (std::uint8_t& byte : data)
      byte = static_cast<std::uint8_t>(below(256));
    return data;
  }

  std::mt19937 random_{20240517};
  bool clean_ = true;
  std::string boundary_;
};

TEST(Multipart, ThousandRandomListsEqualAnIndependentGenerator) {
  const test::TemporaryFolder folder;
  const std::string cases = folder / "cases", bodies = folder / "bodies";
  std::vector<std::string> expected;
  RandomParts random;
  std::ofstream out(cases);
  for (int i = 0; i < 1000; ++i) {
    const auto [parts, line] = random.next();
    out << line << '\n';
    expected.push_back(RandomParts::hex(bytesOf(bodyOf(parts, random.boundary()))));
  }
  out.close();
  const std::string command =
      "python3 '" KELM_TEST_DATA "/multipart_oracle.py' '" + cases + "' '" + bodies + "'";
  ASSERT_EQ(std::system(command.c_str()), 0);
  std::ifstream in(bodies);
  std::string body;
  for (std::size_t i = 0; i < expected.size(); ++i) {
    ASSERT_TRUE(std::getline(in, body));
    ASSERT_EQ(body, expected[i]) << "list " << i;
  }
}

}  // namespace
}  // namespace kelm
