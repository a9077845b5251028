// Secure connections: who decides about the server, and when.

#include "kelm/testing/servers/test_certificates.h"
#include "tests/platform/url_session_world.h"

namespace kelm::testing {
namespace {

using Disposition = platform::UrlSessionDelegate::Disposition;
using platform::UrlSessionConfiguration;
namespace url_error = platform::url_error;
using ::testing::IsEmpty;

class UrlSessionTls : public UrlSessionTest {
 protected:
  UrlSessionConfiguration trustingTestRoot() const {
    UrlSessionConfiguration configuration;
    configuration.trustRootsFile = certificates.rootFile();
    return configuration;
  }
  UrlOutcome performWith(UrlSessionConfiguration configuration) {
    return perform(*makeSession(std::move(configuration), delegate), requestTo(server.url()));
  }

  TestCertificates certificates;
  HttpServer server{certificates};
  std::shared_ptr<RecordingUrlDelegate> delegate = std::make_shared<RecordingUrlDelegate>();
};

TEST_F(UrlSessionTls, DelegateDecidesAndWithoutItTheSystem) {
  const struct {
    bool knowsRoot;
    Disposition disposition;
    std::int64_t code;
    std::size_t chain;
  } table[] = {
      {true, Disposition::PerformDefaultHandling, 0, 3},  // leaf, intermediate, root
      {true, Disposition::Cancel, url_error::kCancelled, 3},
      {false, Disposition::UseCredential, 0, 2},  // what the server sent
      {false, Disposition::PerformDefaultHandling, url_error::kServerCertificateUntrusted, 2},
  };
  for (const auto& row : table) {
    const auto configuration = row.knowsRoot ? trustingTestRoot() : UrlSessionConfiguration();
    delegate->disposition = row.disposition;
    const std::size_t before = server.requests().size();
    EXPECT_EQ(performWith(configuration).code(), row.code);
    EXPECT_EQ(server.requests().size(), before + (row.code == 0)) << "refused before sending";
    const platform::ServerTrust trust = delegate->trusts.back();
    EXPECT_EQ(trust.host, "localhost");
    EXPECT_EQ(trust.trustedBySystem, row.knowsRoot);
    EXPECT_EQ(trust.chain.size(), row.chain);
    EXPECT_EQ(trust.chain.back().at(0), 0x30) << "DER";
    const auto unasked = perform(*makeSession(configuration), requestTo(server.url()));
    EXPECT_EQ(unasked.code(), row.knowsRoot ? 0 : url_error::kServerCertificateUntrusted);
  }
}

TEST_F(UrlSessionTls, DelegateThatThrowsRefuses) {
  delegate->isFaulty = true;
  EXPECT_EQ(performWith(trustingTestRoot()).code(), url_error::kCancelled);
  EXPECT_THAT(server.requests(), IsEmpty());
  EXPECT_THAT(console->lines(), ::testing::ElementsAre("LOG ERROR from the challenge"));
}

TEST_F(UrlSessionTls, OneChallengeAConnectionNotARequest) {
  const auto session = makeSession(trustingTestRoot(), delegate);
  for (int i = 0; i < 3; ++i)
    EXPECT_EQ(perform(*session, requestTo(server.url())).text(), "ok");
  EXPECT_EQ(delegate->trusts.size(), 1U);
  EXPECT_EQ(performWith(trustingTestRoot()).text(), "ok");
  EXPECT_EQ(delegate->trusts.size(), 2U) << "a new session connects anew";
}

TEST_F(UrlSessionTls, VerdictCoversTheNameAndUseOverrulesIt) {
  TestCertificates commonNameOnly("email:till@localhost"), revoked;
  revoked.revoke();
  const std::tuple<const TestCertificates*, std::string, std::string> table[] = {
      {&certificates, "other.localhost", "hostname mismatch"},
      {&commonNameOnly, "localhost", "hostname mismatch"},
      {&certificates, "127.0.0.1", ""},
      {&revoked, "localhost", "certificate revoked"},
  };
  for (const auto& [shown, host, refusal] : table) {
    const HttpServer itsServer(*shown);
    UrlSessionConfiguration configuration;
    configuration.trustRootsFile = shown->rootFile();
    const auto request = requestTo("https://" + host + ':' + std::to_string(itsServer.port()));
    for (const bool asks : {false, true}) {
      delegate->disposition = Disposition::PerformDefaultHandling;
      const auto outcome = perform(*makeSession(configuration, asks ? delegate : nullptr), request);
      EXPECT_EQ(outcome.code(), refusal.empty() ? 0 : url_error::kServerCertificateUntrusted);
      if (!outcome.error) continue;
      EXPECT_EQ(*outcome.error->userInfo.find("NSDebugDescription"), Value(refusal));
    }
    const bool stapled = shown == &revoked;
    EXPECT_EQ(delegate->trusts.back().refusal, stapled ? "" : refusal);
    EXPECT_EQ(delegate->trusts.back().trustedBySystem, stapled || refusal.empty());
    EXPECT_EQ(itsServer.requests().size(), refusal.empty() ? 2U : 0U);
    delegate->disposition = Disposition::UseCredential;
    EXPECT_EQ(perform(*makeSession(configuration, delegate), request).text(), "ok");
  }
}

TEST_F(UrlSessionTls, DemandForAClientCertificateIsTold) {
  certificates.demandFromClients();
  const HttpServer demanding(certificates);
  EXPECT_EQ(perform(*makeSession(trustingTestRoot()), requestTo(demanding.url())).code(),
            url_error::kClientCertificateRequired);
}

TEST_F(UrlSessionTls, RedirectFromHttpsToHttpIsRefused) {
  const HttpServer plain;
  const HttpServer secure(certificates, [&](const HttpRequest&) {
    return HttpReply{302, "", {{"Location", plain.url("/open")}}, false};
  });
  const auto outcome = perform(*makeSession(trustingTestRoot()), requestTo(secure.url()));
  EXPECT_EQ(outcome.code(), url_error::kUnsupportedUrl);
  EXPECT_EQ(outcome.status(), 302);
  EXPECT_THAT(plain.requests(), IsEmpty());
}

TEST_F(UrlSessionTls, MissingRootsTrustNobody) {
  UrlSessionConfiguration configuration;
  configuration.trustRootsFile = "/nonexistent/roots.pem";
  const auto outcome = performWith(configuration);
  EXPECT_EQ(outcome.code(), url_error::kSecureConnectionFailed);
  EXPECT_THAT(*outcome.error->userInfo.find("NSDebugDescription")->text(),
              ::testing::EndsWith(": /nonexistent/roots.pem"));
  EXPECT_THAT(server.requests(), IsEmpty());
}

}  // namespace
}  // namespace kelm::testing
