#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "kelm/network/zu_http_multipart_builder.h"
#include "tests/network/network_fixture.h"

namespace kelm {
namespace {

using testing::NetworkFixture;

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
      {{part("a\"\r\nX: y", ""), nullptr, part({}, {})},
       "--B\r\nContent-Disposition: form-data; name=\"a\"\r\nX: y\"\r\nContent-Length: 0\r\n\r\n"
       "\r\n--B\r\nContent-Disposition: form-data; name=\"(null)\"\r\nContent-Length: 6\r\n\r\n"
       "(null)\r\n--B--\r\n"},
  };
  for (const auto& row : kRows)
    EXPECT_EQ(bodyOf(row.parts, "B"), row.body);
}

TEST(Multipart, BoundaryIsMadeOrEmptyByTheSlot) {
  std::string first;
  using Builder = ZuHTTPMultipartBuilder;
  EXPECT_EQ(textOf(Builder::multipartDataWithParameters_boundary({}, nullptr)), "----\r\n");
  std::srand(124);
  const Data body = Builder::multipartDataWithParameters_boundary({}, &first);
  EXPECT_EQ(textOf(body), "--" + first + "--\r\n");
  std::srand(124);
  std::string expected;
  for (int i = 0; i < 32; ++i)
    expected += "0123456789ABCDEF"[std::rand() % 16];
  EXPECT_EQ(first, expected);
}

}  // namespace
}  // namespace kelm
