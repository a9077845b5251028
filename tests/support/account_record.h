#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "kelm/platform/file_system.h"
#include "kelm/storage/kelm_data_store_handler.h"

// Account records as earlier versions of a host left them, in the file system in use. Programs
// that include this link kelm_storage. A record that cannot be put there raises.
namespace kelm::testing {

/// Puts bytes at a path, its folders included.
inline void putRecordFile(const std::string& path, DataView bytes) {
  platform::FileSystem& files = *platform::current<platform::FileSystem>();
  if (files.createDirectories(path.substr(0, path.rfind('/'))) || files.replaceFile(path, bytes))
    throw std::runtime_error("no record at " + path);
}

/// The file of an account's record; account "x/A" is "x/A.sav" below Library/kelm.
inline std::string accountRecordPath(const std::string& account) {
  return KelmDataStoreHandler::brandNewDocumentsFolderName() + '/' + account + ".sav";
}
/// The same in the older layout, below Documents.
inline std::string legacyAccountRecordPath(const std::string& account) {
  return KelmDataStoreHandler::documentsFolderName() + '/' + account + ".sav";
}

/// Makes the record of an account with an encrypted text.
inline void makeAccountRecord(const std::string& account, std::string_view text) {
  putRecordFile(accountRecordPath(account),
                *KelmDataStoreHandler::encriptedNSDataFromNSString(text));
}
inline void makeLegacyAccountRecord(const std::string& account, std::string_view text) {
  putRecordFile(legacyAccountRecordPath(account),
                *KelmDataStoreHandler::encriptedNSDataFromNSString(text));
}

}  // namespace kelm::testing
