#include "kelm/platform/device_services/wallet.h"

#include <algorithm>
#include <utility>

#include "kelm/base/coding/json.h"
#include "kelm/platform/console.h"
#include "kelm/platform/file_system.h"
#include "kelm/platform/home_folders.h"

namespace kelm::platform {

namespace {

constexpr std::uint64_t kLargestPass = 1 << 20;

std::optional<std::string> textOfKey(const Dictionary& pass, std::string_view key) {
  const Value* value = pass.find(key);
  const auto text = value != nullptr ? value->text() : std::nullopt;
  if (!text) return std::nullopt;
  return std::string(*text);
}

std::optional<Pass> readPass(const FileSystem& files, const std::string& path) {
  const auto status = files.status(path);
  if (!status || status->size > kLargestPass) return std::nullopt;
  const auto content = files.readFile(path);
  if (!content) return std::nullopt;
  const auto parsed = parseJson(textOf(*content));
  const Dictionary* fields = parsed ? parsed->get<Dictionary>() : nullptr;
  const auto type = fields != nullptr ? textOfKey(*fields, "type") : std::nullopt;
  if (type != "payment" && type != "barcode") return std::nullopt;
  const bool isPayment = type == "payment";
  return Pass{isPayment ? PassType::Payment : PassType::Barcode, isPayment,
              textOfKey(*fields, "primaryAccountNumberSuffix"), textOfKey(*fields, "passURL"),
              textOfKey(*fields, "title").value_or("")};
}

class FolderWallet : public Wallet {
 public:
  std::vector<Pass> passes(PassType type) const override {
    const auto& files = current<FileSystem>();
    const std::string folder = current<HomeFolders>()->home() + "/wallet";
    const auto entries = files->list(folder);
    if (!entries) return {};
    std::vector<std::string> names;
    for (const DirectoryEntry& entry : *entries)
      if (entry.name.ends_with(".json")) names.push_back(entry.name);
    std::sort(names.begin(), names.end());
    std::vector<Pass> found;
    for (const std::string& name : names) {
      auto pass = readPass(*files, folder + '/' + name);
      if (!pass)
        current<Console>()->writeLine("The wallet leaves out a malformed pass: " + name);
      else if (pass->type == type)
        found.push_back(*std::move(pass));
    }
    return found;
  }

  void openPaymentSetup() override {}  // a folder has no such page
};

}  // namespace

std::shared_ptr<Wallet> Wallet::makeSystem() { return std::make_shared<FolderWallet>(); }

}  // namespace kelm::platform
