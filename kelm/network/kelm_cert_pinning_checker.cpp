#include "kelm/network/kelm_cert_pinning_checker.h"

#include <algorithm>
#include <functional>
#include <string_view>
#include <utility>

#include "kelm/base/mutex.h"
#include "kelm/crypto/vasp_sha1.h"
#include "kelm/logging/vasp_logger.h"

namespace kelm {

namespace {

constexpr const char* kComparison =
    "+[KelmCertPinningChecker _isCertificatePinningValidUsingWhitelist:andCurrentList:]";

/// Replaced whole; a check keeps the list that it began with.
class AlwaysValid {
 public:
  using List = std::vector<std::shared_ptr<VaspHTTPSCertificateModel>>;

  void replace(List list) {
    auto replacement = std::make_shared<const List>(std::move(list));
    const Lock lock(mutex_);
    list_.swap(replacement);
  }
  std::shared_ptr<const List> list() const {
    const Lock lock(mutex_);
    return list_;
  }

 private:
  mutable Mutex mutex_;
  std::shared_ptr<const List> list_ KELM_GUARDED_BY(mutex_) = std::make_shared<const List>();
};

AlwaysValid& alwaysValidCertificates() {
  static auto* const kept = new AlwaysValid;
  return *kept;
}

/// The few fingerprints of a chain, each once, with their hashes: thousands of pins pass by them.
class ChainFingerprints {
 public:
  explicit ChainFingerprints(const std::vector<std::string>& fingerprints) {
    for (const std::string& text : fingerprints) {
      if (std::find(texts_.begin(), texts_.end(), text) != texts_.end()) continue;
      texts_.push_back(text);
      hashes_.push_back(std::hash<std::string_view>()(text));
    }
  }

  bool sharesOneWith(KelmCertPinningChecker::Models models) const {
    return std::any_of(models.begin(), models.end(),
                       [this](const auto& model) { return model != nullptr && contains(*model); });
  }
  /// As a set is described.
  std::string description() const {
    return "{" + describe(std::vector<std::string>(texts_.begin(), texts_.end())) + "}";
  }

 private:
  bool contains(const VaspHTTPSCertificateModel& model) const {
    for (std::size_t i = 0; i < hashes_.size(); ++i)
      if (hashes_[i] == model.comparedHash() && texts_[i] == model.comparedText()) return true;
    return false;
  }

  std::vector<std::string_view> texts_;
  std::vector<std::size_t> hashes_;
};

}  // namespace

void KelmCertPinningChecker::addListOfValidCerts(std::optional<Models> models) {
  alwaysValidCertificates().replace(models ? AlwaysValid::List(models->begin(), models->end())
                                           : AlwaysValid::List());
}

bool KelmCertPinningChecker::isCertificatePinningValidUsingWhitelist_andCurrentList(
    std::optional<Models> whitelist, const platform::ServerTrust* trust) {
  if (!whitelist || trust == nullptr || whitelist->empty()) return false;
  std::vector<std::string> fingerprints;
  for (std::size_t index = 0; index < trust->certificateCount(); ++index) {
    auto text = VaspSha1::sha1Hex20ByteStringDigestForData(trust->certificateAtIndex(index));
    if (text && !text->empty()) fingerprints.push_back(std::move(*text));
  }
  return _isCertificatePinningValidUsingWhitelist_andCurrentList(whitelist, fingerprints);
}

bool KelmCertPinningChecker::_isCertificatePinningValidUsingWhitelist_andCurrentList(
    std::optional<Models> whitelist, const std::optional<std::vector<std::string>>& fingerprints) {
  if (!fingerprints || fingerprints->empty()) return false;
  const Models pins = whitelist.value_or(Models());
  const auto always = alwaysValidCertificates().list();
  if (pins.empty() && always->empty()) return false;
  const ChainFingerprints chain(*fingerprints);
  if (chain.sharesOneWith(pins) || chain.sharesOneWith(*always)) return true;
  VaspLogger::logwithLevel_aspect_from_message(
      log_level::kInfo, log_aspect::kFrontend | log_aspect::kNet, kComparison,
      "CERTIFICATE PINNING CANNOT VALIDATE CHAIN: %@", chain.description());
  return false;
}

}  // namespace kelm
