#include "kelm/storage/vasp_file_handler.h"

#include <cerrno>
#include <utility>

#include "kelm/base/utf16.h"
#include "kelm/platform/file_attributes.h"
#include "kelm/platform/file_system.h"
#include "kelm/storage/folder_walk.h"
#include "kelm/storage/log_lines.h"
#include "kelm/storage/paths.h"

namespace kelm {

namespace {

using platform::FileKind;

constexpr const char* kEmptyFolder = "-[VaspFileHandler emptyFullPath:includingSubFolders:]";
constexpr const char* kSearchFiles =
    "-[VaspFileHandler searchFilesInFullPath:withFilenameContaining:]";

platform::FileSystem& files() { return *platform::current<platform::FileSystem>(); }

const char* typeName(FileKind kind) {
  switch (kind) {
    case FileKind::Regular:
      return "NSFileTypeRegular";
    case FileKind::Directory:
      return "NSFileTypeDirectory";
    case FileKind::SymbolicLink:
      return "NSFileTypeSymbolicLink";
    case FileKind::Other:
    case FileKind::Unknown:
      break;
  }
  return "NSFileTypeUnknown";
}

// The missing folders that lead to a path, the outermost first and the path itself last.
std::vector<std::string> missingFolders(const std::string& path) {
  std::vector<std::string> missing{path};
  for (std::string_view folder = paths::parent(path); !folder.empty();
       folder = paths::parent(folder)) {
    if (files().exists(std::string(folder))) break;
    if (folder == missing.front()) break;  // the root of a file system that is not there
    missing.emplace(missing.begin(), folder);
  }
  return missing;
}

struct Made {
  bool succeeded = false;
  Failure failure;
};

// Makes a folder and its missing parents, each with the global attributes.
Made makeFolders(const VaspFileHandler& handler, const std::string& path) {
  const std::vector<std::string> missing = missingFolders(path);
  if (Failure failure = files().createDirectories(path)) return {false, std::move(failure)};
  for (const std::string& folder : missing) {
    if (!handler.setGlobalAttributesToFullpath(folder)) return {false, std::nullopt};
  }
  return {true, std::nullopt};
}

// Whether an error says that nothing is at a path, or that nothing can be.
bool meansNothingThere(const Error& error, const std::string& path) {
  if (!paths::formsLocation(path)) return true;
  if (error.domain != error_domain::kPosix) return false;
  return error.code == ENOENT || error.code == ENOTDIR || error.code == ENAMETOOLONG ||
         error.code == ELOOP;
}

// Removes what is at a path; nothing there is a success. Asking first whether something is there
// would take a path that cannot be looked at for an empty one.
Failure removeIfThere(VaspFileHandler::Path path) {
  const std::string item = paths::owned(path);
  Failure failure = files().remove(item);
  if (failure && meansNothingThere(*failure, item)) return {};
  return failure;
}

}  // namespace

bool VaspFileHandler::existsFullPath(Path path) const {
  return !paths::isEmpty(path) && files().exists(std::string(*path));
}

std::optional<std::string> VaspFileHandler::getFilenameFromFullPath(Path path) const {
  if (!path) return std::nullopt;
  return std::string(paths::lastComponent(*path));
}

std::optional<Dictionary> VaspFileHandler::getAttributesOfFullpath(Path path) const {
  const std::string item = paths::owned(path);
  const auto status = files().status(item);
  if (!status) {
    file_log::warn("-[VaspFileHandler getAttributesOfFullpath:]", "Cant read attributes of file %@",
                   path);
    return std::nullopt;
  }
  Dictionary attributes{
      {"NSFileType", typeName(status->kind)},          {"NSFileSize", status->size},
      {"NSFilePosixPermissions", status->permissions}, {"NSFileOwnerAccountID", status->owner},
      {"NSFileGroupOwnerAccountID", status->group},    {"NSFileModificationDate", status->modified},
      {"NSFileCreationDate", status->created},
  };
  // The attribute service follows links: what it tells is then not of the item itself.
  if (status->kind != FileKind::SymbolicLink) {
    if (auto protection = platform::current<platform::FileAttributes>()->protection(item))
      attributes.set("NSFileProtectionKey", std::move(*protection));
  }
  return attributes;
}

std::optional<Date> VaspFileHandler::getLastTouchDateOfFullpath(Path path) const {
  if (paths::isEmpty(path)) return std::nullopt;
  const auto status = files().status(std::string(*path));
  if (!status) return std::nullopt;
  return status->modified;
}

bool VaspFileHandler::setAttributeDataProtection_toFullpath(
    std::optional<std::string_view> protection, Path path) const {
  if (paths::isEmpty(path) || !protection || protection->empty()) return false;
  const Failure failure =
      platform::current<platform::FileAttributes>()->setProtection(std::string(*path), *protection);
  if (failure) {
    file_log::warn("-[VaspFileHandler setAttributeDataProtection:toFullpath:]",
                   "Error changing data protection attribute: %@", failure);
  }
  return !failure;
}

bool VaspFileHandler::setExcludeBackupAttributeToFullpath(Path path) const {
  if (paths::isEmpty(path)) return false;
  const Failure failure = platform::current<platform::FileAttributes>()->setExcludedFromBackup(
      std::string(*path), true);
  if (failure) {
    file_log::warn("-[VaspFileHandler setExcludeBackupAttributeToFullpath:]",
                   "Error changing exclude backup attribute: %@", failure);
  }
  return !failure;
}

bool VaspFileHandler::setGlobalAttributesToFullpath(Path path) const {
  if (setExcludeBackupAttributeToFullpath(path) &&
      setAttributeDataProtection_toFullpath(NSFileProtectionCompleteUntilFirstUserAuthentication,
                                            path))
    return true;
  file_log::warn("-[VaspFileHandler setGlobalAttributesToFullpath:]",
                 "Error global kelm attributes");
  return false;
}

bool VaspFileHandler::storeNSData_withFullpath(std::optional<DataView> data, Path path) const {
  if (!data || paths::isEmpty(path)) return false;
  // The folder made at the file's own path brings its parents; it goes again at once.
  bool succeeded = ensureFullPathExists_andClearFiles(path, false);
  Failure failure;
  if (succeeded) {
    failure = removeIfThere(path);
    succeeded = !failure;
  }
  if (!succeeded) {
    file_log::warn("-[VaspFileHandler storeNSData:withFullpath:]", "Cant storeNSData 2: %@",
                   failure);
  }
  return storeNSData_toPath(data, path);
}

bool VaspFileHandler::storeNSData_toPath(std::optional<DataView> data, Path path) const {
  constexpr const char* kFrom = "-[VaspFileHandler storeNSData_:toPath:]";
  if (!data) {
    file_log::warn(kFrom, "No data to store in : %@", path);
    return false;
  }
  const Failure failure = files().replaceFile(paths::owned(path), *data);
  if (!failure && setGlobalAttributesToFullpath(path)) return true;
  file_log::error(kFrom, "Error storing data : %@ in %@", failure, path);
  return false;
}

bool VaspFileHandler::storeNSString_withFullpath(std::optional<std::string_view> text,
                                                 Path path) const {
  constexpr const char* kFrom = "-[VaspFileHandler storeNSString:withFullpath:]";
  if (!text) file_log::warn(kFrom, "Requested to store nil, i'm storing empty string");
  if (paths::isEmpty(path)) {
    file_log::error(kFrom, "Invalid filename: It is nil or empty");
    return false;
  }
  return storeNSData_withFullpath(bytesOf(text.value_or(std::string_view())), path);
}

std::optional<Data> VaspFileHandler::readNSDataWithFullpath(Path path) const {
  if (!existsFullPath(path)) return std::nullopt;
  return readNSDataFromPath_(path);
}

std::optional<Data> VaspFileHandler::readNSDataFromPath_(Path path) const {
  auto content = files().readFile(paths::owned(path));
  if (content) return std::move(*content);
  file_log::warn("-[VaspFileHandler readNSDataFromPath_:]", "Error reading data : %@",
                 content.error());
  return std::nullopt;
}

std::optional<std::string> VaspFileHandler::readNSStringWithFullpath(Path path) const {
  const std::optional<Data> bytes = readNSDataWithFullpath(path);
  if (!bytes || !isValidUtf8(textOf(*bytes))) return std::nullopt;
  return std::string(textOf(*bytes));
}

bool VaspFileHandler::ensureFullPathExists_andClearFiles(Path path, bool clear) const {
  constexpr const char* kFrom = "-[VaspFileHandler ensureFullPathExists:andClearFiles:]";
  if (paths::isEmpty(path)) return true;
  if (!existsFullPath(path)) {
    file_log::debug(kFrom, "Creating directory path:%@", path);
    const Made made = makeFolders(*this, std::string(*path));
    if (!made.succeeded) file_log::warn(kFrom, "Error ensureFullPathExists: %@", made.failure);
    return made.succeeded;
  }
  if (!clear) return true;
  file_log::debug(kFrom, "Clearing directory path (ensure and clear):%@", path);
  return emptyFullPath_includingSubFolders(path, false);
}

bool VaspFileHandler::removeFileWithFullPath(Path path) const {
  if (paths::isEmpty(path)) return false;
  const Failure failure = removeIfThere(path);
  if (failure) {
    file_log::warn("-[VaspFileHandler removeFileWithFullPath:]", "Cant removeFileWithFullPath: %@",
                   failure);
  }
  return !failure;
}

bool VaspFileHandler::removeFolderInFullPath(Path path) const {
  if (paths::isEmpty(path)) return false;
  const Failure failure = removeIfThere(path);
  if (failure) {
    file_log::warn("-[VaspFileHandler removeFolderInFullPath:]", "Error removeFolderInPath: %@",
                   failure);
  }
  return !failure;
}

bool VaspFileHandler::emptyFullPath_includingSubFolders(Path path, bool deep) const {
  if (paths::isEmpty(path)) return true;
  if (!existsFullPath(path)) {
    const Made made = makeFolders(*this, std::string(*path));
    if (!made.succeeded) file_log::warn(kEmptyFolder, "Error emptyFullPath: %@", made.failure);
    return made.succeeded;
  }
  const FolderWalk walk(files());
  // Enters a folder only when it could not be removed as a whole.
  const auto visit = [&](FolderWalk::Item& item) {
    const Result<bool> isFolder = walk.isFolder(item);
    if (!isFolder) {
      file_log::warn(kEmptyFolder, "Cant determine if path is a folder, skipping: %@",
                     isFolder.error());
      return false;
    }
    if (!deep && *isFolder) return false;
    const Failure failure = files().remove(item.path);
    if (failure && deep)
      file_log::warn(kEmptyFolder, "Cant removeItemAtPath, skipping: %@", failure);
    else if (failure)
      file_log::warn(kEmptyFolder, "Cant removeItemAtPath 1, skipping: %@", failure);
    return failure && deep;
  };
  walk.run(std::string(*path), visit, [](const std::string& folder, const Error& error) {
    file_log::warn(kEmptyFolder, "Error %@ in file emptyFullPath:\n%@", error, folder);
  });
  return true;
}

std::vector<std::string> VaspFileHandler::searchFilesInFullPath_withFilenameContaining(
    Path directory, std::optional<std::string_view> filter) const {
  if (paths::isEmpty(directory)) return {};
  if (!paths::formsLocation(*directory)) {
    file_log::error(kSearchFiles, "Unable to build URL from path %@", directory);
    return {};
  }
  const FolderWalk walk(files());
  std::vector<std::string> found;
  const auto visit = [&](FolderWalk::Item& item) {
    if (filter && item.path.find(*filter) == std::string::npos) return false;
    const Result<bool> isFolder = walk.isFolder(item);
    if (!isFolder)
      file_log::warn(kSearchFiles, "Cant getResourceValue 1: %@", isFolder.error());
    else if (!*isFolder)
      found.push_back(std::move(item.path));
    return false;
  };
  walk.run(std::string(*directory), visit, [](const std::string& folder, const Error& error) {
    file_log::warn(kSearchFiles, "Error %@ in file listing:\n%@", error, folder);
  });
  return found;
}

}  // namespace kelm
