#include <exception>
#include <utility>

#include "kelm/platform/file_system.h"
#include "kelm/platform/home_folders.h"
#include "kelm/storage/folder_walk.h"
#include "kelm/storage/log_lines.h"
#include "kelm/storage/paths.h"
#include "kelm/storage/vasp_file_handler.h"

namespace kelm {

namespace {

using platform::FileKind;
using Path = VaspFileHandler::Path;
// Brings an item to a path where nothing is: a move or a copy.
using Transfer = Failure (platform::FileSystem::*)(const std::string&, const std::string&);

constexpr std::size_t kUsualFileCount = 50;
constexpr std::size_t kUsualDumpLength = 1000;

platform::FileSystem& files() { return *platform::current<platform::FileSystem>(); }

std::vector<std::string> listFiles(const VaspFileHandler& handler, Path folder, const char* from) {
  std::vector<std::string> found;
  if (!handler.existsFullPath(folder)) {
    file_log::warn(from, "directory %@ does not exists", folder);
    return found;
  }
  if (!paths::formsLocation(*folder)) {
    file_log::error(from, "Unable to build URL from path %@", folder);
    return found;
  }
  found.reserve(kUsualFileCount);
  const FolderWalk walk(files());
  const auto visit = [&](FolderWalk::Item& item) {
    const Result<bool> isFolder = walk.isFolder(item);
    if (!isFolder)
      file_log::warn(from, "Error:%@ for getResourceValueForPath:%@", isFolder.error(), item.path);
    else if (!*isFolder)
      found.push_back(std::move(item.path));
    return false;
  };
  walk.run(std::string(*folder), visit, [&](const std::string& path, const Error& error) {
    file_log::warn(from, "Error %@ in file listing:\n%@", error, path);
  });
  return found;
}

// Moves or copies an item over what is at the destination. What is there goes first, unless the
// source would go with it or loses a part: then nothing goes and the transfer fails.
bool replaceBy(const VaspFileHandler& handler, Transfer transfer, Path source, Path destination,
               const char* from) {
  const std::string origin(*source);
  const std::string target(*destination);
  const bool removable = !files().removalTouches(target, origin);
  if (removable) handler.removeFileWithFullPath(target);
  if ((files().*transfer)(origin, target)) {
    if (removable) (void)files().remove(target);
    if (const Failure failure = (files().*transfer)(origin, target)) {
      file_log::warn(from, "Cant copyItemAtPath 1: %@", failure);
      return false;
    }
  }
  handler.setGlobalAttributesToFullpath(target);
  return true;
}

// Whether an entry of a folder is one itself, or a link to one.
bool leadsToFolder(const platform::DirectoryEntry& entry, const std::string& path) {
  if (entry.kind == FileKind::Directory) return true;
  const bool mayLead = entry.kind == FileKind::SymbolicLink || entry.kind == FileKind::Unknown;
  return mayLead && files().isDirectory(path);
}

// Transfers the files of a folder, and no folders, until one fails.
bool transferFiles(Transfer transfer, Path source, Path destination) {
  if (files().createDirectories(paths::owned(destination))) return false;
  const auto entries = files().list(paths::owned(source));
  if (!entries) return true;
  for (const platform::DirectoryEntry& entry : *entries) {
    const std::string origin = paths::child(*source, entry.name);
    const std::string target = paths::child(*destination, entry.name);
    if (leadsToFolder(entry, origin) || !files().exists(origin)) continue;
    const bool removable = !files().removalTouches(target, origin);
    if (removable && files().exists(target) && files().remove(target)) return false;
    if ((files().*transfer)(origin, target)) return false;
  }
  return true;
}

bool isLink(const std::string& path) {
  const auto status = files().status(path);
  return status && status->kind == FileKind::SymbolicLink;
}

// Appends the dump of a folder that exists. Text grows in one place: a tree may be deep.
void appendTree(std::string& out, const VaspFileHandler& handler, std::string_view folder,
                std::int64_t depth) {
  const std::string blanks(depth > 0 ? static_cast<std::size_t>(depth) : 0, ' ');
  if (depth == 0)
    out.append("Directory dump:\n").append(folder);
  else if (depth > 0)
    out.append(blanks).append("|>").append(paths::lastComponent(folder));
  if (depth > 0 && isLink(std::string(folder))) return;  // it may lead back to where it lies
  for (const std::string& file : handler.listFilesInHandlerFullPath(folder))
    out.append("\n").append(blanks).append(" |-").append(file);
  const auto subfolders = handler.listFoldersInHandlerFullPath(folder);
  if (!subfolders) return;
  for (const std::string& subfolder : *subfolders) {
    out += '\n';
    appendTree(out, handler, subfolder, depth + 1);
  }
}

// The URLs of everything below a folder; failures go to `errors`.
List urlsBelow(const std::string& folder, List& errors) {
  const FolderWalk walk(files());
  List urls;
  const auto visit = [&](FolderWalk::Item& item) {
    const Result<bool> isFolder = walk.isFolder(item);
    const bool enter = isFolder && *isFolder;
    urls.emplace_back(paths::fileUrl(item.path, enter));
    return enter;
  };
  walk.run(folder, visit, [&](const std::string& path, const Error& error) {
    errors.emplace_back(format("\nError: %@ -> %@", paths::fileUrl(path, true), error));
  });
  return urls;
}

}  // namespace

std::vector<std::string> VaspFileHandler::listFilesInHandlerFullPath(Path folder) const {
  return listFiles(*this, folder, "-[VaspFileHandler listFilesInHandlerFullPath:]");
}

std::vector<std::string> VaspFileHandler::listFilesInBundleFullpath(Path folder) const {
  return listFiles(*this, folder, "-[VaspFileHandler listFilesInBundleFullpath:]");
}

std::optional<std::vector<std::string>> VaspFileHandler::listFoldersInHandlerFullPath(
    Path folder) const {
  constexpr const char* kFrom = "-[VaspFileHandler listFoldersInHandlerFullPath:]";
  if (!folder) return std::nullopt;
  if (!existsFullPath(folder)) {
    file_log::warn(kFrom, "directory %@ does not exists", folder);
    return std::nullopt;
  }
  const auto entries = files().list(std::string(*folder));
  if (!entries) {
    file_log::error(kFrom, "Errore listFoldersInHandlerFullPath %@ - %@", std::nullopt,
                    entries.error());
    return std::nullopt;
  }
  std::vector<std::string> folders;
  for (const platform::DirectoryEntry& entry : *entries) {
    std::string path = paths::child(*folder, entry.name);
    if (leadsToFolder(entry, path)) folders.push_back(std::move(path));
  }
  return folders;
}

bool VaspFileHandler::moveFolderFromFullpath_toFullpath(Path source, Path destination) const {
  if (paths::isEmpty(source) || paths::isEmpty(destination)) return false;
  const Failure failure = files().move(std::string(*source), std::string(*destination));
  if (failure) {
    file_log::warn("-[VaspFileHandler moveFolderFromFullpath:toFullpath:]",
                   "Cant moveItemAtPath: %@", failure);
  }
  return !failure;
}

bool VaspFileHandler::moveFileWithFullPath_toDestFullPath(Path source, Path destination) const {
  if (paths::isEmpty(source) || paths::isEmpty(destination)) return false;
  ensureFullPathExists_andClearFiles(destination, false);
  return replaceBy(*this, &platform::FileSystem::move, source, destination,
                   "-[VaspFileHandler moveFileWithFullPath:toDestFullPath:]");
}

bool VaspFileHandler::copyFileWithFullPath_toDestFullPath(Path source, Path destination) const {
  if (paths::isEmpty(source) || paths::isEmpty(destination)) return false;
  ensureFullPathExists_andClearFiles(paths::parent(*destination), false);
  return replaceBy(*this, &platform::FileSystem::copy, source, destination,
                   "-[VaspFileHandler copyFileWithFullPath:toDestFullPath:]");
}

bool VaspFileHandler::moveContentsOfSrcFullpath_toDestFullpath(Path source,
                                                               Path destination) const {
  return transferFiles(&platform::FileSystem::move, source, destination);
}

bool VaspFileHandler::copyContentsOfSrcFullpath_toDestFullpath(Path source,
                                                               Path destination) const {
  return transferFiles(&platform::FileSystem::copy, source, destination);
}

bool VaspFileHandler::moveContentsOfSrcFullpath_toDestFullpath_includingFolders(
    Path source, Path destination, bool includingFolders) const {
  constexpr const char* kFrom =
      "-[VaspFileHandler moveContentsOfSrcFullpath:toDestFullpath:includingFolders:]";
  if (!includingFolders) return moveContentsOfSrcFullpath_toDestFullpath(source, destination);
  if (files().createDirectories(paths::owned(destination))) return false;
  const auto entries = files().list(paths::owned(source));
  if (!entries) {
    file_log::error(kFrom, "Errore moveContentsOfSrcFullpath %@ - %@", std::nullopt,
                    entries.error());
    return false;
  }
  bool succeeded = true;
  const auto check = [&](const std::string& name, const Failure& failure) {
    if (!failure) return;
    file_log::error(kFrom, "Errore removing %@ - %@", name, failure);
    succeeded = false;
  };
  for (const platform::DirectoryEntry& entry : *entries) {
    const std::string origin = paths::child(*source, entry.name);
    const std::string target = paths::child(*destination, entry.name);
    if (!files().removalTouches(target, origin) && files().exists(target))
      check(entry.name, files().remove(target));
    check(entry.name, files().move(origin, target));
  }
  return succeeded;
}

void VaspFileHandler::debugListPathContent(Path folder) const {
  file_log::debug("-[VaspFileHandler debugListPathContent:]", "%@",
                  debugListPathContent_indentation(folder, 0));
}

std::string VaspFileHandler::debugListPathContent_indentation(Path folder,
                                                              std::int64_t depth) const {
  if (!existsFullPath(folder)) {
    file_log::debug("-[VaspFileHandler debugListPathContent:indentation:]",
                    "Path does not exists:%@", folder);
    return {};
  }
  std::string out;
  out.reserve(kUsualDumpLength);
  appendTree(out, *this, *folder, depth);
  return out;
}

Dictionary VaspFileHandler::dumpWithOption(std::optional<std::string_view> option) {
  Dictionary dump;
  try {
    const platform::HomeFolders& folders = *platform::current<platform::HomeFolders>();
    List errors;
    dump.set("cache", urlsBelow(folders.caches(), errors));
    dump.set("document", urlsBelow(folders.documents(), errors));
    dump.set("appsupport", urlsBelow(folders.applicationSupport(), errors));
    if (!paths::isEmpty(option)) {
      const auto container = folders.groupContainer(*option);
      dump.set(*option, container ? urlsBelow(*container, errors) : List());
    }
    dump.set("errors", std::move(errors));
  } catch (const std::exception& exception) {
    dump.set("exception", format("\nException: %@", exception));
  }
  return dump;
}

}  // namespace kelm
