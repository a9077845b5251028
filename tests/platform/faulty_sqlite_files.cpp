#include "tests/platform/faulty_sqlite_files.h"

#include <map>

namespace kelm::test {

namespace {

int count = 0;
int firstFailing = 0;
int lastFailing = 0;
bool isDiskFull = false;

bool fails() {
  ++count;
  return firstFailing <= count && count <= lastFailing;
}

sqlite3_vfs* system() { return sqlite3_vfs_find("unix"); }

/// The system's methods of a file, some of them replaced.
struct Methods : sqlite3_io_methods {
  const sqlite3_io_methods* real;
};
const sqlite3_io_methods& realOf(const sqlite3_file* file) {
  return *static_cast<const Methods*>(file->pMethods)->real;
}

/// What a method does unless it fails: the same as the system's.
template <int kError, auto kMethod, class... Arguments>
int orFail(sqlite3_file* file, Arguments... arguments) {
  return fails() ? kError : (realOf(file).*kMethod)(file, arguments...);
}

int writeFile(sqlite3_file* file, const void* bytes, int size, sqlite3_int64 at) {
  sqlite3_int64 end = 0;
  realOf(file).xFileSize(file, &end);
  if (isDiskFull && at + size > end) return SQLITE_FULL;
  return orFail<SQLITE_IOERR_WRITE, &sqlite3_io_methods::xWrite>(file, bytes, size, at);
}

int syncFile(sqlite3_file*, int) { return fails() ? SQLITE_IOERR_FSYNC : SQLITE_OK; }

/// Letting go does not fail, here as for xUnlock: the lock would stay for ever.
int lockShared(sqlite3_file* file, int offset, int number, int flags) {
  if ((flags & SQLITE_SHM_LOCK) != 0 && fails()) return SQLITE_IOERR_SHMLOCK;
  return realOf(file).xShmLock(file, offset, number, flags);
}

Methods faulty(const sqlite3_io_methods* real) {
  Methods methods{*real, real};
  methods.iVersion = 2;  // without mapping files into memory
  methods.xRead = orFail<SQLITE_IOERR_READ, &sqlite3_io_methods::xRead>;
  methods.xWrite = writeFile;
  methods.xTruncate = orFail<SQLITE_IOERR_TRUNCATE, &sqlite3_io_methods::xTruncate>;
  methods.xSync = syncFile;
  methods.xFileSize = orFail<SQLITE_IOERR_FSTAT, &sqlite3_io_methods::xFileSize>;
  methods.xLock = orFail<SQLITE_IOERR_LOCK, &sqlite3_io_methods::xLock>;
  methods.xCheckReservedLock =
      orFail<SQLITE_IOERR_CHECKRESERVEDLOCK, &sqlite3_io_methods::xCheckReservedLock>;
  methods.xShmMap = orFail<SQLITE_IOERR_SHMMAP, &sqlite3_io_methods::xShmMap>;
  methods.xShmLock = lockShared;
  return methods;
}

int openFile(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* outFlags) {
  static std::map<const sqlite3_io_methods*, Methods> known;  // databases and logs differ
  file->pMethods = nullptr;
  if (fails()) return SQLITE_CANTOPEN;
  const int result = system()->xOpen(system(), name, file, flags, outFlags);
  if (const sqlite3_io_methods* real = file->pMethods)
    file->pMethods = &known.try_emplace(real, faulty(real)).first->second;
  return result;
}

int removeFile(sqlite3_vfs*, const char* name, int syncs) {
  return fails() ? SQLITE_IOERR_DELETE : system()->xDelete(system(), name, syncs);
}

int accessFile(sqlite3_vfs*, const char* name, int flags, int* result) {
  return fails() ? SQLITE_IOERR_ACCESS : system()->xAccess(system(), name, flags, result);
}

}  // namespace

FaultySqliteFiles::FaultySqliteFiles() : vfs_(*system()) {
  vfs_.zName = kName;
  vfs_.pNext = nullptr;
  vfs_.xOpen = openFile;
  vfs_.xDelete = removeFile;
  vfs_.xAccess = accessFile;
  failCalls(0, 0);
  setDiskFull(false);
  sqlite3_vfs_register(&vfs_, 0);
}

FaultySqliteFiles::~FaultySqliteFiles() { sqlite3_vfs_unregister(&vfs_); }

void FaultySqliteFiles::failCalls(int first, int last) {
  count = 0;
  firstFailing = first;
  lastFailing = last;
}

int FaultySqliteFiles::calls() const { return count; }

void FaultySqliteFiles::setDiskFull(bool full) { isDiskFull = full; }

}  // namespace kelm::test
