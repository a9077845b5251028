#pragma once

#include <algorithm>
#include <map>
#include <optional>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "kelm/crypto/vasp_aes.h"

namespace kelm::testing {

/// What a processor is called with.
struct Offer {
  std::string payload;
  std::string queueId;
  std::int64_t following;

  bool operator==(const Offer&) const = default;
  friend std::ostream& operator<<(std::ostream& out, const Offer& offer) {
    return out << offer.queueId << ":" << offer.payload.substr(0, 20) << "+" << offer.following;
  }
};

/// The rules of a queue's folder, told a second time and as plainly as possible.
class FolderModel {
 public:
  explicit FolderModel(std::string folder) : folder_(std::move(folder)) {}

  /// Processors take every payload but those that begin with "n", which they reject.
  static bool takes(std::string_view payload) { return !payload.starts_with("n"); }

  void addProcessor(const std::string& queueId) { processors_.insert(queueId); }
  /// `payload`: absent for a file that cannot be decrypted.
  void putFile(const std::string& name, std::optional<Data> payload) {
    files_[name] = std::move(payload);
  }
  void putFolder(const std::string& name) { folders_.insert(name); }

  void save(const std::string& payload, const std::string& queueId, const std::string& time) {
    if (!processors_.contains(queueId)) return;
    const std::string name = time + "___" + queueId + ".dat";
    if (queueId.find("..") != queueId.npos || name.size() > 255) return;
    if (queueId.find_first_of(std::string_view("/\0", 2)) != queueId.npos) return;
    if (!folders_.contains(name)) files_.emplace(name, dataOf(payload));
  }

  std::vector<Offer> process(const std::string& queueId) {
    std::vector<std::string> matching;
    for (const std::string& name : visible())
      if ((folder_ + "/" + name).find("___" + queueId) != std::string::npos)
        matching.push_back(name);
    std::vector<Offer> offers;
    std::int64_t following = static_cast<std::int64_t>(matching.size());
    for (const std::string& name : matching) {
      --following;
      const std::optional<Data> payload = files_[name];
      const std::string id = queueIdOf(name);
      if (!payload || payload->empty() || payload->size() > 102400 || id.empty()) {
        files_.erase(name);
      } else if (processors_.contains(id)) {
        offers.push_back({std::string(textOf(*payload)), id, following});
        if (takes(offers.back().payload)) files_.erase(name);
      }
    }
    return offers;
  }

  void reset(const std::string& queueId) {
    for (const std::string& name : visible()) {
      const std::string id = queueIdOf(name);
      if (id.empty() || id == queueId) files_.erase(name);
    }
  }

  std::vector<std::string> names() const {
    std::vector<std::string> names(folders_.begin(), folders_.end());
    for (const auto& [name, payload] : files_)
      names.push_back(name);
    std::sort(names.begin(), names.end());
    return names;
  }
  /// The ID in a name; "" for none.
  static std::string queueIdOf(std::string name) {
    const auto dot = name.find_last_of('.');
    if (dot != std::string::npos && dot != 0) name.erase(dot);
    const auto start = name.find("___");
    if (start == std::string::npos) return "";
    const std::string id = name.substr(start + 3);
    return id.substr(0, id.find("___"));
  }

 private:
  std::vector<std::string> visible() const {
    std::vector<std::string> names;
    for (const auto& [name, payload] : files_)
      if (name[0] != '.') names.push_back(name);
    return names;  // sorted by the map
  }

  const std::string folder_;
  std::set<std::string> processors_;
  std::set<std::string> folders_;
  std::map<std::string, std::optional<Data>> files_;
};

}  // namespace kelm::testing
