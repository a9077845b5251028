#include "kelm/storage/kelm_data_store_handler.h"

#include <cstddef>
#include <utility>

#include "kelm/base/utf16.h"
#include "kelm/base/wipe.h"
#include "kelm/platform/file_attributes.h"
#include "kelm/platform/file_system.h"
#include "kelm/platform/home_folders.h"
#include "kelm/storage/paths.h"

namespace kelm {

namespace {

constexpr std::string_view kExtension = ".sav";

platform::FileSystem& files() { return *platform::current<platform::FileSystem>(); }

/// Calls `visit` with each piece between "/", empty ones too.
template <class Visit>
void forEachComponent(std::string_view path, Visit visit) {
  for (;;) {
    const std::size_t slash = path.find('/');
    visit(path.substr(0, slash));
    if (slash == std::string_view::npos) return;
    path.remove_prefix(slash + 1);
  }
}

bool staysInFolder(std::string_view account) {
  bool stays = account.find('\0') == std::string_view::npos;
  forEachComponent(account, [&](std::string_view component) {
    if (component.empty() || component == "..") stays = false;
  });
  return stays;
}

/// The file's name below a folder of records; absent for an account that leads elsewhere.
std::optional<std::string> fileNameOf(std::optional<std::string_view> account) {
  if (!account || !staysInFolder(*account)) return std::nullopt;
  return std::string(*account).append(kExtension);
}

std::optional<Data> content(const std::string& path) {
  auto bytes = files().readFile(path);
  if (!bytes) return std::nullopt;
  return std::move(*bytes);
}

}  // namespace

std::string KelmDataStoreHandler::documentsFolderName() {
  return platform::current<platform::HomeFolders>()->documents();
}

std::string KelmDataStoreHandler::brandNewDocumentsFolderName() {
  return paths::child(platform::current<platform::HomeFolders>()->library(), "kelm");
}

std::string KelmDataStoreHandler::getFilepathFromName_andFolders(
    std::string_view name, std::optional<std::string_view> folders) {
  if (paths::isEmpty(folders)) return std::string(name);
  std::string path;
  for (const std::string_view part : {*folders, name})
    forEachComponent(part, [&](std::string_view component) {
      if (!component.empty()) path = paths::child(path, component);
    });
  return path;
}

std::optional<Data> KelmDataStoreHandler::objectForAccount(
    std::optional<std::string_view> account) {
  const auto name = fileNameOf(account);
  if (!name) return std::nullopt;
  const std::string legacyPath = paths::child(documentsFolderName(), *name);
  const std::string path = paths::child(brandNewDocumentsFolderName(), *name);
  const bool hasLegacy = content(legacyPath).has_value();
  std::optional<Data> record = content(path);
  if (hasLegacy) {
    if (record) innerCopyToPath_contentOfPath(legacyPath, path);
    // Asking first whether it is still there would keep it whenever the answer fails.
    (void)files().remove(legacyPath);
  }
  setExcludeBackupAttributeToFullpath(path);
  return record;
}

std::optional<std::string> KelmDataStoreHandler::readNSStringOnFilename_andFolders(
    std::string_view name, std::optional<std::string_view> folders) {
  return decriptedNSStringFromNSData(
      objectForAccount(getFilepathFromName_andFolders(name, folders)));
}

void KelmDataStoreHandler::removeFilename_andFolders(std::string_view name,
                                                     std::optional<std::string_view> folders) {
  whipeObjectForAccount(getFilepathFromName_andFolders(name, folders));
}

bool KelmDataStoreHandler::whipeObjectForAccount(std::optional<std::string_view> account) {
  if (const auto name = fileNameOf(account)) {
    const std::string path = paths::child(brandNewDocumentsFolderName(), *name);
    if (content(path)) (void)files().remove(path);
  }
  return true;
}

void KelmDataStoreHandler::innerCopyToPath_contentOfPath(std::string_view destination,
                                                         std::string_view source) {
  const std::string from(source);
  const std::string to(destination);
  if (files().removalTouches(to, from)) return;
  if (!files().copy(from, to)) return;
  (void)files().remove(to);
  (void)files().copy(from, to);
}

void KelmDataStoreHandler::setExcludeBackupAttributeToFullpath(
    std::optional<std::string_view> path) {
  if (!path) return;
  (void)platform::current<platform::FileAttributes>()->setExcludedFromBackup(std::string(*path),
                                                                             true);
}

std::optional<std::string> KelmDataStoreHandler::decriptedNSStringFromNSData(
    std::optional<DataView> data) {
  std::optional<Data> plain = cryptoExpert().decrypt(data);
  if (!plain) return std::nullopt;
  std::optional<std::string> text;
  if (isValidUtf8(textOf(*plain))) text = textOf(*plain);
  wipe(*plain);
  return text;
}

std::optional<Data> KelmDataStoreHandler::encriptedNSDataFromNSString(
    std::optional<std::string_view> text) {
  if (!text) return std::nullopt;
  return cryptoExpert().encrypt(bytesOf(*text));
}

}  // namespace kelm
