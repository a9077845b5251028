#pragma once

#include <sqlite3.h>

#include <map>

namespace kelm::testing {

/// The files of SQLite as the system keeps them, of whose calls some fail, none of those that lock:
/// to be named as the store opens its database. Nothing is synced. One at a time; not for several
/// threads.
class FaultySqliteFiles {
 public:
  FaultySqliteFiles() : vfs_(*real()) {
    vfs_.zName = kName;
    vfs_.pNext = nullptr;
    vfs_.xOpen = open;
    vfs_.xDelete = [](sqlite3_vfs*, const char* name, int syncs) {
      return fails() ? SQLITE_IOERR_DELETE : real()->xDelete(real(), name, syncs);
    };
    failCalls(0, 0);
    setDiskFull(false);
    sqlite3_vfs_register(&vfs_, 0);
  }
  ~FaultySqliteFiles() { sqlite3_vfs_unregister(&vfs_); }
  FaultySqliteFiles(const FaultySqliteFiles&) = delete;
  FaultySqliteFiles& operator=(const FaultySqliteFiles&) = delete;

  static constexpr const char* kName = "kelm-faulty";

  /// Lets the calls with these numbers fail, counted from now on from 1; 0: none.
  void failCalls(int first, int last) {
    calls_ = 0;
    firstFailing_ = first;
    lastFailing_ = last;
  }
  /// How many calls came since.
  int calls() const { return calls_; }
  /// While the disk is full every write that makes a file longer fails.
  void setDiskFull(bool full) { isDiskFull_ = full; }

 private:
  /// The system's methods of a file, some of them replaced.
  struct Methods : sqlite3_io_methods {
    const sqlite3_io_methods* real;
  };

  static sqlite3_vfs* real() { return sqlite3_vfs_find("unix"); }
  static const sqlite3_io_methods& realOf(const sqlite3_file* file) {
    return *static_cast<const Methods*>(file->pMethods)->real;
  }
  static bool fails() {
    ++calls_;
    return firstFailing_ <= calls_ && calls_ <= lastFailing_;
  }
  /// What a method does unless it fails: the same as the system's.
  template <int kError, auto kMethod, class... Arguments>
  static int orFail(sqlite3_file* file, Arguments... arguments) {
    return fails() ? kError : (realOf(file).*kMethod)(file, arguments...);
  }
  static int write(sqlite3_file* file, const void* bytes, int size, sqlite3_int64 at) {
    sqlite3_int64 end = 0;
    realOf(file).xFileSize(file, &end);
    if (isDiskFull_ && at + size > end) return SQLITE_FULL;
    return orFail<SQLITE_IOERR_WRITE, &sqlite3_io_methods::xWrite>(file, bytes, size, at);
  }
  static Methods faulty(const sqlite3_io_methods* system) {
    Methods methods{*system, system};
    methods.iVersion = 2;  // without mapping files into memory
    methods.xRead = orFail<SQLITE_IOERR_READ, &sqlite3_io_methods::xRead>;
    methods.xWrite = write;
    methods.xTruncate = orFail<SQLITE_IOERR_TRUNCATE, &sqlite3_io_methods::xTruncate>;
    methods.xSync = [](sqlite3_file*, int) { return fails() ? SQLITE_IOERR_FSYNC : SQLITE_OK; };
    methods.xFileSize = orFail<SQLITE_IOERR_FSTAT, &sqlite3_io_methods::xFileSize>;
    return methods;
  }
  static int open(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* outFlags) {
    static std::map<const sqlite3_io_methods*, Methods> known;  // databases and logs differ
    file->pMethods = nullptr;
    if (fails()) return SQLITE_CANTOPEN;
    const int result = real()->xOpen(real(), name, file, flags, outFlags);
    if (const sqlite3_io_methods* methods = file->pMethods)
      file->pMethods = &known.try_emplace(methods, faulty(methods)).first->second;
    return result;
  }

  inline static int calls_ = 0, firstFailing_ = 0, lastFailing_ = 0;
  inline static bool isDiskFull_ = false;
  sqlite3_vfs vfs_;
};

}  // namespace kelm::testing
