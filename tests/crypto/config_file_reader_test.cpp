#include "kelm/crypto/vasp_sha2.h"
#include "tests/crypto/config_file_fixture.h"

namespace kelm::testing {
namespace {

const std::string kConfiguration = R"({"b":1,"a":[true,"x"]})";
const std::string kCanonical = "true;x;1";

Value json(const std::string& text) { return *parseJson(text); }

TEST(ConfigFileReader, SignedEnvelopeOpensAtTheTopAndUnderKelm) {
  const std::string envelope = ConfigFileWorld::envelope(kConfiguration, kCanonical);
  for (const std::string& inner : {envelope, "{\"other\":1,\"kelm\":" + envelope + "}"}) {
    ConfigFileWorld world;
    const Data file = world.seal(inner);
    world.store(file);
    const auto payload = world.open();
    ASSERT_TRUE(payload);
    EXPECT_EQ(payload->kelmPayload, json(kConfiguration));
    const auto base64 = *parseJson(textOf(file))->get<Dictionary>()->find("data");
    const auto ciphertext = VaspBase64::dataOfBase64String(base64.text());
    EXPECT_EQ(payload->fileContentHashing,
              base64Of(*VaspSha2::sha256ByteDigestForData(ciphertext)));
    EXPECT_EQ(world.error, std::nullopt);
    EXPECT_TRUE(world.log.lines().empty());
  }
}

TEST(ConfigFileReader, CanonicalTextHasTheValuesInTheOrderOfTheirKeys) {
  const std::pair<std::string, std::string> rows[] = {
      {R"({"b":1,"B":2,"a1":3,"a":4,"":5,"_":6})", "5;2;6;4;3;1"},
      {"{\"\xEF\xBF\xBD\":1,\"\xF0\x9F\x98\x80\":2,\"\xED\x9F\xBF\":3}", "3;2;1"},
      {R"([5,5.0,1.5,-0.0,1e21,1E-7,100000,123456789012,0.1,18446744073709551615])",
       "5;5;1.5;0;1e+21;1e-7;100000;123456789012;0.1;18446744073709551615"},
      {R"([null,true,false,"",[],{},[[["deep"]]]])", "<null>;true;false;;deep"},
      {R"({})", ""},
  };
  const auto reader = VaspCryptedConfigFilePayloadReader::initWithConfigurationErrorDomain("");
  for (const auto& [configuration, text] : rows) {
    EXPECT_EQ(canonicalText(json(configuration)), text);
    std::string joined;
    for (const Value& value : reader.makePayload(json(configuration)))
      joined += ";" + describe(value);
    EXPECT_EQ(joined, text.empty() ? "" : ";" + text);
  }
}

TEST(ConfigFileReader, PayloadKeepsValuesButForBools) {
  const auto reader = VaspCryptedConfigFilePayloadReader::initWithConfigurationErrorDomain("");
  EXPECT_EQ(reader.makePayload(json(R"({"c":true,"a":[1.5,null],"b":"x"})")),
            (List{1.5, Null(), "x", "true"}));
  List values{"before"};
  reader.makePayloadFromObject_inArray({{"b", 2}, {"a", 1}}, values);
  reader.makePayloadFromArray_inArray({false, 3}, values);
  reader.makePayloadGeneric_inArray("last", values);
  EXPECT_EQ(values, (List{"before", 1, 2, "false", 3, "last"}));
}

TEST(ConfigFileReader, SignatureCoversTheOrderOfValuesButNoKeysKindsAndSeparators) {
  ConfigFileWorld world;
  for (const char* const same :
       {R"({"a":[true,"x"],"b":1})", R"({"renamed":[true,"x"],"z":1})", R"(["true","x","1"])",
        R"("true;x;1")", R"({"a":"true;x","b":[{},1]})"}) {
    world.storeSealed(ConfigFileWorld::envelope(same, kCanonical));
    EXPECT_EQ(world.openedWith(), 0) << same;
  }
  world.storeSealed(ConfigFileWorld::envelope(R"({"b":1,"a":["x",true]})", kCanonical));
  EXPECT_EQ(world.openedWith(), 4);
}

TEST(ConfigFileReader, FileThatCannotBeReadOrIsEmptyIsCode1) {
  ConfigFileWorld world;
  EXPECT_EQ(world.openedWith(), 1);
  world.store({});
  EXPECT_EQ(world.openedWith(), 1);
  EXPECT_EQ(world.error->domain, "test.configuration");
  ASSERT_EQ(world.error->userInfo.size(), 1U);
  const auto* const stack = world.error->userInfo.find("stack_trace")->get<List>();
  ASSERT_NE(stack, nullptr);
  EXPECT_GT(stack->size(), 1U);
}

TEST(ConfigFileReader, OuterDocumentWithoutDecryptableDataIsCode2) {
  ConfigFileWorld world;
  for (const char* const outer :
       {"x", "{", "[]", "{}", "\"text\"", R"({"data":1})", R"({"data":null})", R"({"data":""})",
        R"({"data":"QQ="})", R"({"data":"QUJD"})", R"({"Data":"QUJD"})", "[[\"data\"]]"}) {
    world.store(bytesOf(outer));
    EXPECT_EQ(world.openedWith(), 2) << outer;
  }
  world.storeSealed(ConfigFileWorld::envelope(kConfiguration, kCanonical));
  world.base64Key = base64Of(counted(17));
  EXPECT_EQ(world.openedWith(), 2);
}

TEST(ConfigFileReader, InnerDocumentThatIsNotJsonIsCode3) {
  ConfigFileWorld world;
  for (const std::string& inner :
       {std::string("x"), std::string(), std::string("{\"a\":}"), std::string("{}\0", 3),
        std::string("[\"\xFF\"]"), std::string(100000, '[')}) {
    world.storeSealed(inner);
    EXPECT_EQ(world.openedWith(), 3) << inner.substr(0, 10);
  }
}

TEST(ConfigFileReader, ContentThatIsNotSignedIsCode4) {
  const std::string signature = base64Of(fileOf("signature_sha256.bin"));
  const std::string textSignature = "\"signature\":\"" + signature + "\"";
  ConfigFileWorld world;
  const std::string text = R"("configuration":"signed text")";
  for (const std::string& unsignedContent :
       {R"({"configuration":"signed texT",)" + textSignature + "}", "{" + text + "}",
        "{" + text + R"(,"signature":[1]})", "{" + text + R"(,"signature":"QQ="})",
        "{" + text + R"(,"signature":")" + base64Of(fileOf("signature_sha1.bin")) + "\"}",
        "{" + textSignature + "}", R"({"configuration":{},)" + textSignature + "}",
        R"({"kelm":null,)" + text + "," + textSignature + "}", std::string("[]")}) {
    world.storeSealed(unsignedContent);
    EXPECT_EQ(world.openedWith(), 4) << unsignedContent;
  }
  world.storeSealed("{" + text + "," + textSignature + "}");
  EXPECT_EQ(world.openedWith(), 0);
  world.base64Certificate = base64Of(fileOf("public_key_info.der"));
  EXPECT_EQ(world.openedWith(), 4);
  EXPECT_THAT(world.log.lines(), ::testing::Contains("ERROR DER data is invalid"));
}

TEST(ConfigFileReader, PrimitivesLogInTheOrderInWhichTheyFail) {
  ConfigFileWorld world;
  const auto opened =
      world.reader
          .configurationFromCyptedFileAtPath_withB64PublicKey_withB64IV_withB64Key_withError(
              ConfigFileWorld::kPath, std::nullopt, std::nullopt, std::nullopt, nullptr);
  EXPECT_FALSE(opened);
  EXPECT_EQ(world.log.lines().size(), 3U);
  world.log.clear();
  world.store(bytesOf("{}"));
  EXPECT_EQ(world.openedWith(), 2);
  const auto lines = world.log.lines();
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_TRUE(lines[0].starts_with("WARN ")) << lines[0];
  EXPECT_EQ(lines[1], "FATAL AES Operation Error");
}

TEST(ConfigFileReader, FileCutAnywhereOrFlippedGivesOneErrorOrTheSignedConfiguration) {
  ConfigFileWorld world;
  const Data whole = world.seal(ConfigFileWorld::envelope(kConfiguration, kCanonical));
  for (std::size_t at = 0; at < whole.size(); at += 3) {
    world.store(DataView(whole).first(at));
    EXPECT_GT(world.openedWith(), 0) << at;
    Data flipped = whole;
    flipped[at] ^= 1;
    world.store(flipped);
    const std::int64_t code = world.openedWith();
    EXPECT_TRUE(code == 0 || (code >= 2 && code <= 4)) << at;
    if (code == 0) {
      EXPECT_EQ(canonicalText(world.open()->kelmPayload), kCanonical);
    }
  }
}

}  // namespace
}  // namespace kelm::testing
