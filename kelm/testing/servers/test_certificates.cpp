#include "kelm/testing/servers/test_certificates.h"

#include <cstdlib>
#include <stdexcept>

namespace kelm::testing {

TestCertificates::TestCertificates(const std::string& names) {
  const std::string script = "cd '" + folder_.path() + R"(' && exec 2>/dev/null || exit 1
    cat >rules <<END
[req]
distinguished_name = req
[authority]
basicConstraints = critical,CA:TRUE
[leaf]
basicConstraints = critical,CA:FALSE
subjectAltName = )" + names + R"(
END
    issue() {  # name, common name, kind, issuer
      openssl req -x509 -config rules -extensions $3 -subj "/CN=$2" -days 1 -nodes -newkey ec \
        -pkeyopt ec_paramgen_curve:P-256 -keyout $1.key -out $1.pem ${4:+-CA $4.pem -CAkey $4.key}
    }
    issue root 'Test Root' authority && issue middle 'Test Intermediate' authority root &&
      issue leaf localhost leaf middle && cat leaf.pem middle.pem >chain.pem && mv leaf.key key.pem
  )";
  if (std::system(script.c_str()) != 0) throw std::runtime_error("no certificates");
}

void TestCertificates::revoke() {
  const std::string script = "cd '" + folder_.path() + R"(' && exec 2>/dev/null || exit 1
    serial=$(openssl x509 -in leaf.pem -noout -serial | cut -d= -f2) &&
      printf 'R\t491231235959Z\t240101000000Z\t%s\tunknown\t/CN=localhost\n' $serial >index &&
      openssl ocsp -index index -CA middle.pem -rsigner middle.pem -rkey middle.key -ndays 1 \
        -issuer middle.pem -cert leaf.pem -respout staple.der >/dev/null
  )";
  if (std::system(script.c_str()) != 0) throw std::runtime_error("no status");
}

}  // namespace kelm::testing
