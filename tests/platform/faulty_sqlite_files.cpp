#include "tests/platform/faulty_sqlite_files.h"

#include <cstring>

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

/// SQLite's file, followed in memory by the system's.
struct File : sqlite3_file {
  sqlite3_file* real() { return reinterpret_cast<sqlite3_file*>(this + 1); }
};
sqlite3_file* realOf(sqlite3_file* file) { return static_cast<File*>(file)->real(); }

/// What a method does unless it fails: the same method of the system's file.
template <int kError, auto kMethod, class... Arguments>
int orFail(sqlite3_file* file, Arguments... arguments) {
  if (fails()) return kError;
  sqlite3_file* real = realOf(file);
  return (real->pMethods->*kMethod)(real, arguments...);
}

int closeFile(sqlite3_file* file) { return realOf(file)->pMethods->xClose(realOf(file)); }

int writeFile(sqlite3_file* file, const void* bytes, int size, sqlite3_int64 at) {
  if (fails()) return SQLITE_IOERR_WRITE;
  sqlite3_file* real = realOf(file);
  sqlite3_int64 end = 0;
  real->pMethods->xFileSize(real, &end);
  if (isDiskFull && at + size > end) return SQLITE_FULL;
  return real->pMethods->xWrite(real, bytes, size, at);
}

int syncFile(sqlite3_file*, int) { return fails() ? SQLITE_IOERR_FSYNC : SQLITE_OK; }

/// Letting go does not fail, here as for xUnlock: the lock would stay for ever.
int lockShared(sqlite3_file* file, int offset, int number, int flags) {
  if ((flags & SQLITE_SHM_LOCK) != 0 && fails()) return SQLITE_IOERR_SHMLOCK;
  return realOf(file)->pMethods->xShmLock(realOf(file), offset, number, flags);
}

int controlFile(sqlite3_file* file, int operation, void* argument) {
  return realOf(file)->pMethods->xFileControl(realOf(file), operation, argument);
}
int sectorSize(sqlite3_file* file) { return realOf(file)->pMethods->xSectorSize(realOf(file)); }
int traits(sqlite3_file* file) {
  return realOf(file)->pMethods->xDeviceCharacteristics(realOf(file));
}
void barrier(sqlite3_file* file) { realOf(file)->pMethods->xShmBarrier(realOf(file)); }
int unmap(sqlite3_file* file, int removes) {
  return realOf(file)->pMethods->xShmUnmap(realOf(file), removes);
}
int unlockFile(sqlite3_file* file, int level) {
  return realOf(file)->pMethods->xUnlock(realOf(file), level);
}

const sqlite3_io_methods kMethods = {
    2,
    closeFile,
    orFail<SQLITE_IOERR_READ, &sqlite3_io_methods::xRead>,
    writeFile,
    orFail<SQLITE_IOERR_TRUNCATE, &sqlite3_io_methods::xTruncate>,
    syncFile,
    orFail<SQLITE_IOERR_FSTAT, &sqlite3_io_methods::xFileSize>,
    orFail<SQLITE_IOERR_LOCK, &sqlite3_io_methods::xLock>,
    unlockFile,
    orFail<SQLITE_IOERR_CHECKRESERVEDLOCK, &sqlite3_io_methods::xCheckReservedLock>,
    controlFile,
    sectorSize,
    traits,
    orFail<SQLITE_IOERR_SHMMAP, &sqlite3_io_methods::xShmMap>,
    lockShared,
    barrier,
    unmap,
    nullptr,
    nullptr,
};

int openFile(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* outFlags) {
  file->pMethods = nullptr;
  if (fails()) return SQLITE_CANTOPEN;
  sqlite3_file* real = realOf(file);
  const int result = system()->xOpen(system(), name, real, flags, outFlags);
  if (real->pMethods != nullptr) file->pMethods = &kMethods;
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
  vfs_.szOsFile = static_cast<int>(sizeof(File)) + system()->szOsFile;
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
