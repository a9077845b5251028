#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "kelm/base/data.h"
#include "kelm/base/export.h"
#include "kelm/storage/kelm_data_encrypter.h"

namespace kelm {

/// Reads and removes the account records of earlier versions of the host: files named after the
/// account with the extension ".sav", below the folder "kelm" of the user's Library, and before
/// that right in Documents. A record of text is its UTF-8 text encrypted by `cryptoExpert`, whose
/// fixed key obscures and does not protect. There is no operation that writes one.
///
/// An account may name subfolders (x/y/A). One that is empty or absent, starts or ends with "/",
/// holds "//", a component ".." or NUL leads out of the folder or nowhere: it has no record, and
/// no file is touched. Nothing is thrown, nor logged but by the cipher: missing files and failed
/// decryptions are absence, failed removals are ignored. Any thread may call; operations on one
/// account must take turns.
class KELM_API KelmDataStoreHandler {
 public:
  /// `documentsFolderName` The user's Documents folder, where the records of the older layout lie.
  static std::string documentsFolderName();
  /// `brandNewDocumentsFolderName` The folder of the records: "kelm" in the user's Library.
  static std::string brandNewDocumentsFolderName();

  /// `getFilepathFromName:andFolders:` The account of a name in folders: joined with one "/", empty
  /// parts left out; the name as it is when there are no folders.
  static std::string getFilepathFromName_andFolders(std::string_view name,
                                                    std::optional<std::string_view> folders);

  /// `objectForAccount:` The bytes of the record, as they lie in its file; absent when there is
  /// none. Removes what the older layout has for the account, unread: a record that only lies
  /// there is lost. Excludes the record from backup.
  static std::optional<Data> objectForAccount(std::optional<std::string_view> account);
  /// `readNSStringOnFilename:andFolders:` The text of a record; absent too when it cannot be
  /// decrypted.
  static std::optional<std::string> readNSStringOnFilename_andFolders(
      std::string_view name, std::optional<std::string_view> folders);
  /// `removeFilename:andFolders:` The same as `whipeObjectForAccount:` for a name in folders.
  static void removeFilename_andFolders(std::string_view name,
                                        std::optional<std::string_view> folders);
  /// `whipeObjectForAccount:` Removes the record, not what the older layout has. Always true.
  static bool whipeObjectForAccount(std::optional<std::string_view> account);

  /// `innerCopyToPath:contentOfPath:` Copies the source over the destination, which is gone when
  /// that fails. Does nothing to an item that would be copied onto itself or over its folder.
  static void innerCopyToPath_contentOfPath(std::string_view destination, std::string_view source);
  /// `setExcludeBackupAttributeToFullpath:` Does nothing for an absent path; a failure is ignored.
  static void setExcludeBackupAttributeToFullpath(std::optional<std::string_view> path);

  /// `decriptedNSStringFromNSData:` Absent for absent data, for what `cryptoExpert` cannot decrypt
  /// and for what is then no UTF-8.
  static std::optional<std::string> decriptedNSStringFromNSData(std::optional<DataView> data);
  /// `encriptedNSDataFromNSString:` The bytes of a record of this text; absent for absent text.
  static std::optional<Data> encriptedNSDataFromNSString(std::optional<std::string_view> text);
  /// `cryptoExpert` The encrypter of the records: the same object as
  /// `KelmDataEncrypter::sharedInstance`.
  static KelmDataEncrypter& cryptoExpert() { return KelmDataEncrypter::sharedInstance(); }
};

}  // namespace kelm
