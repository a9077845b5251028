// Secure connections: who decides about the server, and when.

#include "tests/platform/url_session_world.h"
#include "tests/support/test_certificates.h"

namespace kelm::test {
namespace {

using Disposition = platform::UrlSessionDelegate::Disposition;
using platform::UrlSessionConfiguration;
namespace url_error = platform::url_error;
using testing::IsEmpty;

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

TEST_F(UrlSessionTls, KnownRootIsTrustedWithAndWithoutADelegate) {
  EXPECT_EQ(perform(*makeSession(trustingTestRoot()), requestTo(server.url())).text(), "ok");
  EXPECT_EQ(performWith(trustingTestRoot()).text(), "ok");
  ASSERT_EQ(delegate->trusts().size(), 1U);
  const platform::ServerTrust trust = delegate->trusts().front();
  EXPECT_EQ(trust.host, "localhost");
  EXPECT_TRUE(trust.trustedBySystem);
  EXPECT_EQ(trust.chain.size(), 3U) << "leaf, intermediate, root";
  for (const Data& certificate : trust.chain)
    EXPECT_EQ(certificate.at(0), 0x30) << "DER";
}

TEST_F(UrlSessionTls, UnknownRootIsRefusedBeforeAnythingIsSent) {
  EXPECT_EQ(get(server.url()).code(), url_error::kServerCertificateUntrusted);
  EXPECT_EQ(performWith({}).code(), url_error::kServerCertificateUntrusted);
  ASSERT_EQ(delegate->trusts().size(), 1U);
  EXPECT_FALSE(delegate->trusts().front().trustedBySystem);
  EXPECT_EQ(delegate->trusts().front().chain.size(), 2U) << "what the server sent";
  EXPECT_THAT(server.requests(), IsEmpty());
}

TEST_F(UrlSessionTls, DelegateMayAcceptAnUnknownRoot) {
  delegate->answerChallenges(Disposition::UseCredential);
  EXPECT_EQ(performWith({}).text(), "ok");
  EXPECT_EQ(get(server.url()).code(), url_error::kServerCertificateUntrusted)
      << "no other session is meant";
}

TEST_F(UrlSessionTls, DelegateMayRefuseATrustedServerBeforeAnythingIsSent) {
  delegate->answerChallenges(Disposition::Cancel);
  EXPECT_EQ(performWith(trustingTestRoot()).code(), url_error::kCancelled);
  EXPECT_THAT(server.requests(), IsEmpty());
}

TEST_F(UrlSessionTls, DelegateThatThrowsRefuses) {
  class Thrower : public platform::UrlSessionDelegate {
    Disposition didReceiveChallenge(const platform::ServerTrust&) override {
      throw std::runtime_error("undecided");
    }
  };
  const auto session = makeSession(trustingTestRoot(), std::make_shared<Thrower>());
  EXPECT_EQ(perform(*session, requestTo(server.url())).code(), url_error::kCancelled);
  EXPECT_THAT(server.requests(), IsEmpty());
  EXPECT_THAT(console->lines(), testing::ElementsAre("LOG ERROR undecided"));
}

TEST_F(UrlSessionTls, OneChallengeAConnectionNotARequest) {
  const auto session = makeSession(trustingTestRoot(), delegate);
  for (int i = 0; i < 3; ++i)
    EXPECT_EQ(perform(*session, requestTo(server.url())).text(), "ok");
  EXPECT_EQ(delegate->trusts().size(), 1U);
  EXPECT_EQ(performWith(trustingTestRoot()).text(), "ok");
  EXPECT_EQ(delegate->trusts().size(), 2U) << "a new session connects anew";
}

TEST_F(UrlSessionTls, AcceptedCertificateMustStillBeOfThatName) {
  delegate->answerChallenges(Disposition::UseCredential);
  const std::string url = "https://other.localhost:" + std::to_string(server.port());
  EXPECT_EQ(perform(*makeSession({}, delegate), requestTo(url)).code(),
            url_error::kServerCertificateUntrusted);
  EXPECT_EQ(delegate->trusts().at(0).host, "other.localhost");
  EXPECT_THAT(server.requests(), IsEmpty());
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
  const HttpServer upgrading([&](const HttpRequest&) {
    return HttpReply{302, "", {{"Location", server.url("/safe")}}, false};
  });
  EXPECT_EQ(perform(*makeSession(trustingTestRoot()), requestTo(upgrading.url())).text(), "ok");
}

TEST_F(UrlSessionTls, SecureCookiesStayOnSecureConnections) {
  const HttpServer secure(certificates, [](const HttpRequest& request) {
    return HttpReply{200,
                     request.header("Cookie").value_or("none"),
                     {{"Set-Cookie", "s=1; Secure; Domain=localhost; Path=/"}},
                     false};
  });
  const HttpServer plain([](const HttpRequest& request) {
    return HttpReply{200, request.header("Cookie").value_or("none"), {}, false};
  });
  UrlSessionConfiguration configuration = trustingTestRoot();
  configuration.cookies = sessions->makeCookieStorage();
  const auto session = makeSession(configuration);
  perform(*session, requestTo(secure.url()));
  EXPECT_EQ(perform(*session, requestTo(secure.url())).text(), "s=1");
  const std::string open = "http://localhost:" + std::to_string(plain.port());
  EXPECT_EQ(perform(*session, requestTo(open)).text(), "none");
}

TEST_F(UrlSessionTls, MissingRootsTrustNobody) {
  UrlSessionConfiguration configuration;
  configuration.trustRootsFile = "/nonexistent/roots.pem";
  EXPECT_EQ(performWith(configuration).code(), url_error::kSecureConnectionFailed);
  EXPECT_THAT(server.requests(), IsEmpty());
}

}  // namespace
}  // namespace kelm::test
