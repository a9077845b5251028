#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <iterator>
#include <sstream>
#include <string>

#include "kelm/network/http_call.h"
#include "tests/network/network_fixture.h"

namespace kelm {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::NetworkFixture;
using testing::taskFor;

constexpr auto kForm = "application/x-www-form-urlencoded; charset=utf-8";

std::optional<std::string> bodyText(const platform::UrlRequest& request) {
  if (!request.body) return std::nullopt;
  return std::string(textOf(*request.body));
}

TEST(RequestBuilding, MethodDecidesVerbAndWhereParametersGo) {
  const NetworkFixture f;
  const struct {
    int method;
    std::string lowerVerb;
    std::string verb;
    bool inBody;
  } kRows[] = {
      {0, "post", "POST", true},      {1, "get", "GET", false},   {2, "put", "PUT", true},
      {3, "delete", "DELETE", false}, {4, "head", "HEAD", false}, {5, "patch", "PATCH", false},
      {-1, "post", "POST", false},    {6, "post", "POST", false},
  };
  for (const auto& row : kRows) {
    const auto method = static_cast<ZuHTTPMethod>(row.method);
    const auto task = taskFor("http://h/p", method);
    task->setRequestParameters(Dictionary{{"a b", "c&d"}});
    const auto request = task->buildRequest();
    EXPECT_EQ(ZuHTTPTask::methodStringFromValue(method), row.lowerVerb);
    EXPECT_EQ(request->method, row.verb);
    EXPECT_EQ(request->url, row.inBody ? "http://h/p" : "http://h/p?a%20b=c%26d");
    EXPECT_EQ(bodyText(*request),
              row.inBody ? std::optional<std::string>("a%20b=c%26d") : std::nullopt);
    EXPECT_TRUE(request->headers.empty());
  }
}

TEST(RequestBuilding, QueryBranchRebuildsTheQueryFromPairsAndParameters) {
  const NetworkFixture f;
  const struct {
    std::string url;
    Dictionary parameters;
    std::optional<std::string> built;
  } kRows[] = {
      {"http://h/p?a=1&b=x%20y", {{"c", "3"}}, "http://h/p?c=3&a=1&b=x%20y"},
      {"http://h/p?a=1", {{"a", "2"}, {"b", "3"}}, "http://h/p?a=1&b=3"},
      {"http://h/p?flag", {{"a", "1"}}, "http://h/p?a=1"},
      {"http://h/p??a=1", {}, "http://h/p"},
      {"http://h/p?a=1?b=2", {}, "http://h/p?a=1"},
      {"http://h/p?a=%26%3D%3F", {}, "http://h/p?a=%26%3D%3F"},
      {"http://h/p?a=%0D%0AX:y", {}, "http://h/p?a=%0D%0AX%3Ay"},
      {"http://h/p?=v&a=1", {}, "http://h/p?&a=1"},
      {"http://h/p?a=%FF&b=1", {}, "http://h/p?b=1"},
      {"http://h/p?a=+", {}, "http://h/p?a=%2B"},
      {"http://h/p#f", {{"a", "1"}}, "http://h/p#f?a=1"},
      {"http://h/p q?a=1", {}, "(null)?a=1"},
      {"http://h/p q", {}, std::nullopt},
  };
  for (const auto& row : kRows) {
    const auto task = taskFor(row.url, ZuHTTPMethod::Get);
    task->setRequestParameters(row.parameters);
    EXPECT_EQ(task->buildRequest()->url, row.built) << row.url;
  }
}

TEST(RequestBuilding, BodyBranchKeepsTheUrlAndLogsOneThatCannotBeFormed) {
  const NetworkFixture f;
  std::istringstream formable(
      "http://h/p?a=1&b?c#d http://u:p@[::1]:8080/%41~-._!$&'()*+,;=:@ relative/path //h "
      "http://h/%e2%82%ac a.b+c-1:opaque");
  for (std::string url; formable >> url;)
    EXPECT_EQ(taskFor(url, ZuHTTPMethod::Post)->buildRequest()->url, url);
  EXPECT_THAT(f.log.lines(), IsEmpty());

  std::istringstream others(
      "http://h/€ http://h/%4 http://h/%zz http://h/%\x80 http://h/#a#b 1http://h/ :nothing "
      "http://[::1 http://[::1]x/ http://a[b]/ http://h:80a/ http://a@b@h/ http:///x");
  std::vector<std::optional<std::string>> unformable(std::istream_iterator<std::string>(others),
                                                     {});
  unformable.insert(unformable.end(), {std::nullopt, ""});
  for (const char c : std::string_view(" \"\\{}|^<>`[\x7f\r\t\x80"))
    unformable.push_back(std::string("http://h/") + c);
  for (const auto& url : unformable) {
    f.log.clear();
    EXPECT_EQ(taskFor(url, ZuHTTPMethod::Put)->buildRequest()->url, std::nullopt);
    EXPECT_THAT(f.log.lines(), ElementsAre("ERROR URL not well encoded " + url.value_or("(null)")));
  }
}

TEST(RequestBuilding, BracketsOfAQueryAreEscapedWhateverTheMethod) {
  const NetworkFixture f;
  for (const auto method : {ZuHTTPMethod::Get, ZuHTTPMethod::Post})
    EXPECT_EQ(taskFor("http://[::1]/?ids[]=1", method)->buildRequest()->url,
              "http://[::1]/?ids%5B%5D=1");
  EXPECT_THAT(f.log.lines(), IsEmpty());
  EXPECT_EQ(taskFor("http://h/p|", ZuHTTPMethod::Get)->buildRequest()->url, std::nullopt);
  EXPECT_THAT(f.log.lines(), ElementsAre("ERROR URL not well encoded http://h/p|"));
}

TEST(RequestBuilding, BodyIsRawBytesElseEncodedParametersElseMultipart) {
  const NetworkFixture f;
  const Dictionary parameters{{"a", "é"}, {"n", 1}};
  const auto part = std::make_shared<MultiPartFormDataObject>();
  part->setKey("k");
  part->setValue("v");
  const struct {
    std::string name;
    std::optional<Data> raw;
    Dictionary parameters;
    int encoding;
    bool multipart;
    std::optional<std::string> body;
  } kRows[] = {
      {"nothing", std::nullopt, {}, 0, false, std::nullopt},
      {"raw wins", dataOf("raw"), parameters, 1, true, "raw"},
      {"empty raw does not", Data{}, parameters, 0, false, "a=%C3%A9&n=1"},
      {"JSON", std::nullopt, parameters, 1, false, "{\n  \"a\" : \"é\",\n  \"n\" : 1\n}"},
      {"JSON of bytes", std::nullopt, {{"d", Data{1}}}, 1, false, std::nullopt},
      {"JSON of NaN", std::nullopt, {{"d", std::nan("")}}, 1, false, std::nullopt},
      {"parameters hide parts", std::nullopt, parameters, 2, true, std::nullopt},
      {"encoding 7", std::nullopt, parameters, 7, false, std::nullopt},
  };
  for (const auto& row : kRows) {
    const auto task = taskFor("http://h/p", ZuHTTPMethod::Post);
    task->setRequestBody(row.raw);
    task->setRequestParameters(row.parameters);
    if (row.multipart) task->setRequestMultiPartParameters({part});
    task->setRequestParametersEncoding(static_cast<ZuHTTPParamEncoding>(row.encoding));
    EXPECT_EQ(bodyText(*task->buildRequest()), row.body) << row.name;
  }
}

TEST(RequestHeaders, OfOneTaskMergeWithoutCase) {
  const NetworkFixture f;
  const auto task = taskFor("http://h/p", ZuHTTPMethod::Get);
  task->addHttpHeaders({{"Content-Type", "a"}, {"X-A", "1"}});
  task->addHttpHeaders({{"content-type", "b"}, {"STRASSE", "2"}});
  task->addHttpHeaders({{"Straße", "3"}});
  task->buildRequest();
  EXPECT_EQ(
      task->getMutableHeaderDict(),
      (Dictionary{{"Content-Type", kForm}, {"X-A", "1"}, {"content-type", "b"}, {"Straße", "3"}}));
}

bool commonHeadersMergeWithCase() {
  ZuHTTPTask::addCommonHttpHeaders({{"X-Common", "1"}, {"Content-Type", "common"}});
  ZuHTTPTask::addCommonHttpHeaders({{"x-common", "2"}, {"X-Common", "3"}});
  const auto task = taskFor("http://h/p", ZuHTTPMethod::Get);
  task->addHttpHeaders({{"X-COMMON", "4"}});
  task->buildRequest();
  const auto formed = task->getMutableHeaderDict();
  task->setRequestParametersEncoding(ZuHTTPParamEncoding::Multipart);
  task->buildRequest();
  const Dictionary merged{
      {"X-Common", "3"}, {"Content-Type", kForm}, {"x-common", "2"}, {"X-COMMON", "4"}};
  return *task->getMutableHeaderDict()->find("Content-Type") == Value("common") && formed == merged;
}

// In a process of its own: common headers stay.
TEST(RequestHeadersDeathTest, CommonOnesMergeWithCaseBelowEncodingAndOwnHeaders) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(std::_Exit(commonHeadersMergeWithCase() ? 0 : 1), ::testing::ExitedWithCode(0), "");
}

TEST(HttpCall, PutsHeadersAndTimeoutOnTheRequestAndLastSpellingWins) {
  const NetworkFixture f;
  const auto call =
      HttpCall::initWithURL_andMethod_usingSession("http://h/p", ZuHTTPMethod::Post, nullptr);
  call->addHttpHeaders({{"content-type", "text/csv"}, {"X-Number", 7}});
  const auto request = call->buildRequest();
  EXPECT_EQ(request->header("Content-Type"), "text/csv");
  EXPECT_FALSE(request->headers.contains("Content-Type"));
  EXPECT_EQ(request->header("X-Number"), "7");
  EXPECT_EQ(request->timeoutSeconds, HttpCall::kDefaultTimeoutSeconds);
  call->setTimeoutSeconds(2);
  EXPECT_EQ(call->buildRequest()->timeoutSeconds, 2);
}

}  // namespace
}  // namespace kelm
