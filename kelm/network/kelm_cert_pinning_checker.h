#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "kelm/base/export.h"
#include "kelm/network/vasp_https_certificate_model.h"
#include "kelm/platform/http/url_session.h"

namespace kelm {

/// Compares the certificates that a server shows with pinned ones, by the SHA-1 of their DER bytes.
/// One match anywhere in the chain is enough. It evaluates neither expiry nor host name nor root:
/// the session's own evaluation does, and a host wants both; `PinningSessionDelegate` asks both.
/// All operations are thread-safe; a null model in a list counts as none.
class KELM_API KelmCertPinningChecker {
 public:
  /// A list of pins, lent for the call.
  using Models = std::span<const std::shared_ptr<VaspHTTPSCertificateModel>>;

  KelmCertPinningChecker() = delete;

  /// `addListOfValidCerts:` Replaces the pins that are valid for every check of the process; an
  /// absent list leaves none. There are none at first.
  static void addListOfValidCerts(std::optional<Models> models);
  /// `isCertificatePinningValidUsingWhitelist:andCurrentList:` True if a certificate of `trust` is
  /// in the list or among those that are always valid. False without a log line for an absent or
  /// empty list, whatever is always valid, and for a null `trust`; false with one INFO line that
  /// shows the chain's fingerprints when none matches.
  static bool isCertificatePinningValidUsingWhitelist_andCurrentList(
      std::optional<Models> whitelist, const platform::ServerTrust* trust);
  /// `_isCertificatePinningValidUsingWhitelist:andCurrentList:` The comparison alone, over
  /// fingerprints in lower case; they are compared as they are. False without a log line for no
  /// fingerprints and for no pins at all; otherwise the always-valid ones count even where the
  /// list is absent or empty.
  static bool _isCertificatePinningValidUsingWhitelist_andCurrentList(
      std::optional<Models> whitelist, const std::optional<std::vector<std::string>>& fingerprints);
};

}  // namespace kelm
