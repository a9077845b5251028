#include "kelm/base/coding/property_list.h"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <iterator>
#include <limits>

#include "kelm/base/describe.h"

namespace kelm {
namespace {

std::string contentOf(const std::string& name) {
  std::ifstream file(std::string(KELM_TEST_DATA "/") + name, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

Result<Value> parse(std::string_view xml) { return parsePropertyList(bytesOf(xml)); }

Value everyKind() {
  return Dictionary{{"text", "a<b>&\"c\"\r\n\t\u00e9\U0001F600 "},
                    {"empty", ""},
                    {"yes", true},
                    {"no", false},
                    {"numbers", List{0, -1, std::numeric_limits<std::int64_t>::min(),
                                     std::numeric_limits<std::uint64_t>::max()}},
                    {"reals", List{1.0, -0.0, 0.1, 1e21, 5e-324, -HUGE_VAL}},
                    {"date", Date{1700000000}},
                    {"before", Date{-62135596800}},
                    {"data", Data{0, 1, 2, 253, 254, 255}},
                    {"none", Data{}},
                    {"list", List{List{}, Dictionary{}, Dictionary{{"", "empty key"}}}}};
}

TEST(PropertyList, TheGoldenFileIsWrittenAndReadBack) {
  const std::string golden = contentOf("every_kind.plist");
  ASSERT_FALSE(golden.empty());
  EXPECT_EQ(*writePropertyList(everyKind()), golden);
  const Result<Value> value = parse(golden);
  ASSERT_TRUE(value) << describe(value.error());
  EXPECT_EQ(*value, everyKind());
  EXPECT_EQ(*writePropertyList(*value), golden);  // kinds and order as well
}

TEST(PropertyList, ReadsWhatOthersWrite) {
  const Result<Value> value = parse(
      "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n"
      "<!DOCTYPE plist PUBLIC \"-//Example//DTD PLIST 1.0//EN\" \"http://127.0.0.1/none.dtd\">\n"
      "<!-- a comment --><plist version=\"1.0\">\n<dict>\n"
      "<key>A&amp;B</key><string>x<!-- inside -->y &#x20ac; <![CDATA[<z>]]></string>"
      "<key>data</key><data>\n\tAAEC\n\t/f7/\n</data><key>u</key><string>\u00e9</string>"
      "<key>n</key><real>nan</real><key>i</key><real>+infinity</real>"
      "</dict>\n</plist>\n<!-- end -->");
  ASSERT_TRUE(value) << describe(value.error());
  const Dictionary& dictionary = *value->get<Dictionary>();
  EXPECT_EQ(*dictionary.find("A&B"), Value("xy \u20ac <z>"));
  EXPECT_EQ(*dictionary.find("data"), Value(Data{0, 1, 2, 253, 254, 255}));
  EXPECT_EQ(*dictionary.find("u"), Value("\u00e9"));
  EXPECT_TRUE(std::isnan(*dictionary.find("n")->real()));
  EXPECT_EQ(*dictionary.find("i"), Value(HUGE_VAL));
}

TEST(PropertyList, MalformedDocumentsAreErrors) {
  const char* const kBodies[] = {
      "", "<dict>", "<array><string>a</array>", "text", "<string>a</string><string>b</string>",
      "<unknown/>", "<array>x</array>", "<string>a<b/></string>", "<key>a</key>",
      "<dict><string>a</string></dict>", "<dict><key>a</key></dict>",
      "<dict><key>a</key><key>b</key><true/></dict>", "<dict><key>a<b/></key><true/></dict>",
      "<array><key>a</key></array>", "<plist/>", "<true>x</true>", "<false> </false>",
      "<string>&unknown;</string>", "<string>\x01</string>", "<string>\xff</string>",
      "<string>&#0;</string>", "<string>&#xD800;</string>",
      // numbers
      "<integer/>", "<integer>abc</integer>", "<integer> 1</integer>", "<integer>1 </integer>",
      "<integer>+1</integer>", "<integer>0x10</integer>", "<integer>1.0</integer>",
      "<integer>18446744073709551616</integer>", "<integer>-9223372036854775809</integer>",
      "<integer>--1</integer>", "<real/>", "<real>abc</real>", "<real>1,5</real>",
      "<real>0x1p3</real>", "<real>1e999</real>", "<real>+-1</real>", "<real>nan(1)</real>",
      "<real>--inf</real>",
      // dates
      "<date/>", "<date>2023-11-14</date>", "<date>2023-11-14 22:13:20Z</date>",
      "<date>2023-11-14T22:13:20</date>", "<date>2023-13-14T22:13:20Z</date>",
      "<date>2023-02-29T00:00:00Z</date>", "<date>2023-11-14T24:00:00Z</date>",
      "<date>2023-11-14T22:60:20Z</date>", "<date>2023-11-14T22:13:60Z</date>",
      "<date>2023-00-14T22:13:20Z</date>", "<date>2023-11-00T22:13:20Z</date>",
      "<date>-023-11-14T22:13:20Z</date>", "<date>2023-11-14T22:13:20.5Z</date>",
      // Base64
      "<data>!!!!</data>", "<data>QQ</data>", "<data>QQ=</data>", "<data>Q===</data>",
      "<data>QQ==QQ==</data>", "<data>=</data>", "<data>QUJD=</data>", "<data>Q</data>",
      "<data>QQ-_</data>"};
  for (const char* body : kBodies) {
    const Result<Value> value = parse("<plist>" + std::string(body) + "</plist>");
    ASSERT_FALSE(value) << body;
    EXPECT_TRUE(value.error().userInfo.contains("line")) << body;
  }
  for (const char* document :
       {"", "{}", "bplist00", "<dict/>", "<plist>", "<plist><true/></plist>x",
        "<plist><true/></plist><plist/>", "<PLIST><true/></PLIST>"})
    EXPECT_FALSE(parse(document)) << document;
  EXPECT_FALSE(parse(std::string_view("<plist><true/></plist>\0", 23)));
}

TEST(PropertyList, NoEntityOfADocumentTypeIsEverExpanded) {
  std::string laughs = "<!DOCTYPE plist [<!ENTITY a \"ha\">";
  for (char name = 'b'; name <= 'z'; ++name)
    laughs += std::string("<!ENTITY ") + name + " \"&" + static_cast<char>(name - 1) + ";&" +
              static_cast<char>(name - 1) + ";\">";
  const std::string documents[] = {
      laughs + "]><plist><string>&z;</string></plist>",
      "<!DOCTYPE plist [<!ENTITY e SYSTEM \"file:///etc/hostname\">]>"
      "<plist><string>&e;</string></plist>",
      "<!DOCTYPE plist [<!ENTITY % p SYSTEM \"file:///etc/hostname\"> %p;]><plist><true/></plist>",
      "<!DOCTYPE plist SYSTEM \"file:///etc/hostname\"><plist><string>&e;</string></plist>",
      "<!DOCTYPE plist []><plist><true/></plist>",
  };
  for (const std::string& document : documents)
    EXPECT_FALSE(parse(document)) << document;
}

TEST(PropertyList, WritingIsAbsentForWhatXmlCannotHold) {
  const Value values[] = {// kinds, texts, dates without four digits of a year
                          Null{},
                          List{Null{}},
                          List{std::make_shared<Object>()},
                          std::string("a\0b", 3),
                          "\x1b",
                          "\xff",
                          "\xEF\xBF\xBF",
                          Dictionary{{"\x02", 1}},
                          Date{253402300800},
                          Date{-62167219201},
                          Date{std::nan("")},
                          Date{HUGE_VAL}};
  for (const Value& value : values)
    EXPECT_FALSE(writePropertyList(value)) << describe(value);
}

}  // namespace
}  // namespace kelm
