#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kelm/base/coding/keyed_archive.h"
#include "kelm/base/data.h"
#include "kelm/base/date.h"
#include "kelm/base/export.h"
#include "kelm/base/value.h"
#include "kelm/storage/kelm_dumpable_module_protocol.h"

namespace kelm {

/// The file protection class that the handler gives to everything it creates.
inline constexpr std::string_view NSFileProtectionCompleteUntilFirstUserAuthentication =
    "NSFileProtectionCompleteUntilFirstUserAuthentication";

/// The one gateway to files and folders, by full path. What it creates is excluded from backup
/// and carries the protection class above. Failures are logged and returned, never thrown, unless
/// an operation says otherwise. An empty or absent path is refused without a log line unless an
/// operation says otherwise. Paths are bytes: percent signs and text that is no UTF-8 are as good
/// as any other; a path that holds NUL leads nowhere. Hidden items have names that start with a
/// dot. No folder is a package on this system: each is a plain folder.
///
/// Holds no state; every operation may be called from any thread and takes no lock. Writers that
/// share a path must take turns.
class KELM_API VaspFileHandler {
 public:
  /// A path that may be absent.
  using Path = std::optional<std::string_view>;

  virtual ~VaspFileHandler() = default;

  /// `existsFullPath:` Whether anything is there; a link counts as what it leads to.
  bool existsFullPath(Path path) const;
  /// `getFilenameFromFullPath:` The last component, trailing "/" ignored; "/" for the root.
  std::optional<std::string> getFilenameFromFullPath(Path path) const;
  /// `getAttributesOfFullpath:` Of the item itself, links are not followed: NSFileType (one of
  /// NSFileTypeRegular, -Directory, -SymbolicLink, -Unknown), NSFileSize (bytes),
  /// NSFilePosixPermissions, NSFileOwnerAccountID, NSFileGroupOwnerAccountID,
  /// NSFileModificationDate, NSFileCreationDate and, when it has one, NSFileProtectionKey.
  /// Absent, with a WARN line, when they cannot be read.
  std::optional<Dictionary> getAttributesOfFullpath(Path path) const;
  /// `getLastTouchDateOfFullpath:` When the content last changed; absent, silently, on any error.
  std::optional<Date> getLastTouchDateOfFullpath(Path path) const;

  /// `setAttributeDataProtection:toFullpath:` False, silently, for an empty or absent class.
  bool setAttributeDataProtection_toFullpath(std::optional<std::string_view> protection,
                                             Path path) const;
  /// `setExcludeBackupAttributeToFullpath:`
  bool setExcludeBackupAttributeToFullpath(Path path) const;
  /// `setGlobalAttributesToFullpath:` Both of the above, the exclusion first; stops at the first
  /// that fails, then logs once more. An absent path is logged too.
  bool setGlobalAttributesToFullpath(Path path) const;

  /// `storeNSData:withFullpath:` Makes the missing parent folders, removes what is at the path
  /// and writes the file whole. True only when the bytes are durable. Not safe for what was there
  /// before: a crash or failure after the removal leaves nothing. A folder at the path is
  /// removed with all that it holds.
  bool storeNSData_withFullpath(std::optional<DataView> data, Path path) const;
  /// `storeNSData_:toPath:` The write below every store: replaces the file atomically, then sets
  /// the global attributes. The parent must exist. Absent data is logged and refused.
  virtual bool storeNSData_toPath(std::optional<DataView> data, Path path) const;
  /// `storeNSString:withFullpath:` As UTF-8. Absent text is logged and stored as empty text; an
  /// empty or absent path is logged and refused.
  bool storeNSString_withFullpath(std::optional<std::string_view> text, Path path) const;
  /// `storeNSCodableObject:withFullPath:` As a keyed archive whose root has the key "root". False,
  /// silently, for an absent object and for one that cannot be archived; with a WARN line for one
  /// that raises meanwhile.
  bool storeNSCodableObject_withFullPath(const std::optional<Value>& object, Path path) const;

  /// `readNSDataWithFullpath:` Absent, silently, when nothing is there.
  std::optional<Data> readNSDataWithFullpath(Path path) const;
  /// `readNSDataFromPath_:` The read below every read. Absent, with a WARN line, on failure.
  virtual std::optional<Data> readNSDataFromPath_(Path path) const;
  /// `readNSStringWithFullpath:` Absent also for bytes that are no UTF-8.
  std::optional<std::string> readNSStringWithFullpath(Path path) const;
  /// `readNSCodableObjectWithFullpath:` Absent for a missing file, for bytes that are no archive
  /// and when unarchiving raises `Exception`; other exceptions reach the caller.
  std::optional<Value> readNSCodableObjectWithFullpath(Path path) const;
  /// `readNSCodableObjectUsingDelegate:withFullpath:` The same with a delegate, borrowed for the
  /// call, that may substitute classes and objects.
  std::optional<Value> readNSCodableObjectUsingDelegate_withFullpath(
      KeyedUnarchiverDelegate* delegate, Path path) const;

  /// `ensureFullPathExists:andClearFiles:` Makes the folder and its missing parents. When it is
  /// there already and `clear` is set, empties it as `emptyFullPath:` does without subfolders.
  /// True for an empty or absent path.
  bool ensureFullPathExists_andClearFiles(Path path, bool clear) const;
  /// `removeFileWithFullPath:` Removes a file, a link or a whole folder. True when nothing is
  /// there.
  bool removeFileWithFullPath(Path path) const;
  /// `removeFolderInFullPath:` The same.
  bool removeFolderInFullPath(Path path) const;
  /// `emptyFullPath:includingSubFolders:` Removes the files of a folder, or with `deep` its
  /// folders too, each with all that it holds. Hidden items stay and links are removed, not
  /// followed. Makes a missing folder. Items that cannot be removed are logged and stay; the
  /// result is true all the same. True for an empty or absent path.
  bool emptyFullPath_includingSubFolders(Path path, bool deep) const;
  /// `searchFilesInFullPath:withFilenameContaining:` The full paths of a folder's items that are
  /// no folders and not hidden, in the file system's order. A filter keeps those whose full path
  /// contains it, byte for byte; an empty or absent one keeps all.
  std::vector<std::string> searchFilesInFullPath_withFilenameContaining(
      Path directory, std::optional<std::string_view> filter) const;

  /// `listFilesInHandlerFullPath:` The full paths of a folder's items that are no folders and not
  /// hidden, in the file system's order. A missing or absent folder is logged: an empty list.
  std::vector<std::string> listFilesInHandlerFullPath(Path folder) const;
  /// `listFilesInBundleFullpath:` The same, for a folder of the application's bundle.
  std::vector<std::string> listFilesInBundleFullpath(Path folder) const;
  /// `listFoldersInHandlerFullPath:` The full paths of a folder's subfolders, hidden ones and
  /// links to folders too, in the file system's order. Absent, with a line unless the path is
  /// absent, when it is missing or unreadable.
  std::optional<std::vector<std::string>> listFoldersInHandlerFullPath(Path folder) const;

  /// `moveFolderFromFullpath:toFullpath:` Moves an item to a path where nothing is.
  bool moveFolderFromFullpath_toFullpath(Path source, Path destination) const;
  /// `moveFileWithFullPath:toDestFullPath:` Replaces the destination, which is removed before the
  /// move; makes its parents. A failed move leaves the source, not what was at the destination.
  /// Moving an item onto itself or onto a folder that holds it fails and removes nothing.
  bool moveFileWithFullPath_toDestFullPath(Path source, Path destination) const;
  /// `copyFileWithFullPath:toDestFullPath:` The same with a copy; the source stays.
  bool copyFileWithFullPath_toDestFullPath(Path source, Path destination) const;
  /// `moveContentsOfSrcFullpath:toDestFullpath:` Moves the files of a folder, hidden ones too,
  /// over those of the destination, which is made; folders stay. False, silently, at the first
  /// failure; what was moved before stays moved. An unreadable source counts as empty.
  bool moveContentsOfSrcFullpath_toDestFullpath(Path source, Path destination) const;
  /// `copyContentsOfSrcFullpath:toDestFullpath:` The same with copies.
  bool copyContentsOfSrcFullpath_toDestFullpath(Path source, Path destination) const;
  /// `moveContentsOfSrcFullpath:toDestFullpath:includingFolders:` Without folders as above. With
  /// them moves every item and goes on after failures, each of which is logged; false when there
  /// was one or the source is unreadable.
  bool moveContentsOfSrcFullpath_toDestFullpath_includingFolders(Path source, Path destination,
                                                                 bool includingFolders) const;

  /// `debugListPathContent:` Logs the tree below a folder.
  void debugListPathContent(Path folder) const;
  /// `debugListPathContent:indentation:` The tree as text, one line an item; "" with a line for a
  /// missing folder. Links to folders are named, not entered.
  std::string debugListPathContent_indentation(Path folder, std::int64_t depth) const;
  /// `dumpWithOption:` What lies in the caches ("cache"), documents ("document") and application
  /// support folders ("appsupport") and, under its own identifier, in the container of the
  /// application group that `option` names: lists of file URLs, hidden items skipped, links not
  /// followed; failures as text under "errors". What an exception interrupts is returned as far
  /// as it came, with the text under "exception".
  static Dictionary dumpWithOption(std::optional<std::string_view> option);
};

static_assert(KelmDumpableModuleProtocol<VaspFileHandler>);

}  // namespace kelm
