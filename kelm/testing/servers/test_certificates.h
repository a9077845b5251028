#pragma once

#include <string>

#include "kelm/base/export.h"
#include "kelm/testing/temporary_folder.h"

namespace kelm::testing {

/// A root, an intermediate and a leaf for "localhost" and 127.0.0.1, made anew; as PEM files that
/// go with the object.
class KELM_API TestCertificates {
 public:
  /// `names`: the leaf's alternative names. Its common name is "localhost" always.
  explicit TestCertificates(const std::string& names = "DNS:localhost,IP:127.0.0.1");

  /// Has the intermediate sign that the leaf is revoked; later servers staple that.
  void revoke();

  /// Later servers demand a certificate of the root from their clients.
  void demandFromClients() { clientsNeedOne_ = true; }
  bool clientsNeedOne() const { return clientsNeedOne_; }

  std::string rootFile() const { return folder_ / "root.pem"; }
  std::string chainFile() const { return folder_ / "chain.pem"; }  ///< leaf and intermediate
  /// The status to staple, DER; there is no such file before `revoke()`.
  std::string stapleFile() const { return folder_ / "staple.der"; }
  std::string keyFile() const { return folder_ / "key.pem"; }  ///< of the leaf

 private:
  TemporaryFolder folder_;
  bool clientsNeedOne_ = false;
};

}  // namespace kelm::testing
