#pragma once

#include <sqlite3.h>

#include <memory>
#include <string>

namespace kelm::test {

/// The files of SQLite as the system keeps them, of whose calls some fail: to be named as the store
/// opens its database. Nothing is synced. One at a time; not for several threads.
class FaultySqliteFiles {
 public:
  FaultySqliteFiles();
  ~FaultySqliteFiles();
  FaultySqliteFiles(const FaultySqliteFiles&) = delete;
  FaultySqliteFiles& operator=(const FaultySqliteFiles&) = delete;

  static constexpr const char* kName = "kelm-faulty";

  /// Lets the calls with these numbers fail, counted from now on from 1; 0: none.
  void failCalls(int first, int last);
  /// How many calls came since.
  int calls() const;
  /// While the disk is full every write that makes a file longer fails.
  void setDiskFull(bool full);

 private:
  sqlite3_vfs vfs_;
};

}  // namespace kelm::test
