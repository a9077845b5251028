#include "kelm/platform/linux/items/item_database.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "kelm/platform/items/item_attributes.h"

namespace kelm::platform {

namespace {

constexpr std::int64_t kApplication = 0x4b4c4d49;  // "KLMI", in the file's header
constexpr std::int64_t kVersion = 1;

constexpr const char* kSettings =
    "PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL; PRAGMA secure_delete=ON;"
    "PRAGMA trusted_schema=OFF; PRAGMA cell_size_check=ON;";

// `identity` serves the look-up alone: what an item is stands in `attributes`, which its seal
// covers. Numbers of keys are never used twice.
constexpr const char* kTables =
    "CREATE TABLE class_keys(id INTEGER PRIMARY KEY AUTOINCREMENT, protection TEXT NOT NULL UNIQUE,"
    " sealed BLOB NOT NULL);"
    "CREATE TABLE items(id INTEGER PRIMARY KEY AUTOINCREMENT, class TEXT NOT NULL,"
    " identity BLOB NOT NULL, class_key INTEGER NOT NULL, attributes BLOB NOT NULL,"
    " sealed BLOB NOT NULL, UNIQUE(class, identity));"
    "CREATE TABLE device(id INTEGER PRIMARY KEY CHECK(id = 1), sealed BLOB NOT NULL);"
    "PRAGMA application_id = 1263291721; PRAGMA user_version = 1;";
static_assert(kApplication == 1263291721 && kVersion == 1);

}  // namespace

ItemStatement::~ItemStatement() {
  if (statement_ == nullptr) return;
  sqlite3_reset(statement_);
  sqlite3_clear_bindings(statement_);
}

ItemStatement& ItemStatement::bind(int parameter, std::int64_t number) {
  sqlite3_bind_int64(statement_, parameter, number);
  return *this;
}

ItemStatement& ItemStatement::bind(int parameter, std::string_view text) {
  sqlite3_bind_text64(statement_, parameter, text.data(), text.size(), SQLITE_STATIC, SQLITE_UTF8);
  return *this;
}

ItemStatement& ItemStatement::bind(int parameter, DataView bytes) {
  // A null pointer would bind NULL.
  const void* start = bytes.empty() ? static_cast<const void*>("") : bytes.data();
  sqlite3_bind_blob64(statement_, parameter, start, bytes.size(), SQLITE_STATIC);
  return *this;
}

int ItemStatement::step() { return statement_ != nullptr ? sqlite3_step(statement_) : error_; }

int ItemStatement::run() {
  const int result = step();
  // A pragma answers with a row.
  return result == SQLITE_DONE || result == SQLITE_ROW ? SQLITE_OK : result;
}

std::int64_t ItemStatement::number(int column) const {
  return sqlite3_column_int64(statement_, column);
}

DataView ItemStatement::bytes(int column) const {
  const void* start = sqlite3_column_blob(statement_, column);
  const int size = sqlite3_column_bytes(statement_, column);
  if (start == nullptr || size <= 0) return {};
  return {static_cast<const std::uint8_t*>(start), static_cast<std::size_t>(size)};
}

ItemDatabase::ItemDatabase(std::string path, std::string vfs, int patienceMilliseconds)
    : path_(std::move(path)), vfs_(std::move(vfs)), patienceMilliseconds_(patienceMilliseconds) {}

ItemDatabase::~ItemDatabase() {
  for (const auto& [sql, statement] : statements_)
    sqlite3_finalize(statement);
  sqlite3_close_v2(connection_);
}

int ItemDatabase::makeFile() const {
  // Made here, so that nobody else can read it for a moment; its companions take its mode. One that
  // is there is left alone: closing it would free the locks of this process on it.
  const Descriptor file(retried([this] {
    return ::open(path_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
  }));
  if (file.isOpen() || errno == EEXIST) return SQLITE_OK;
  if (errno == ENOSPC || errno == EDQUOT) return SQLITE_FULL;
  return errno == EROFS || errno == EACCES ? SQLITE_READONLY : SQLITE_CANTOPEN;
}

int ItemDatabase::open() {
  if (const int result = makeFile()) return result;
  constexpr int kFlags =
      SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_PRIVATECACHE | SQLITE_OPEN_NOFOLLOW;
  if (const int result = sqlite3_open_v2(path_.c_str(), &connection_, kFlags,
                                         vfs_.empty() ? nullptr : vfs_.c_str()))
    return result;
  file_ = Descriptor(
      retried([this] { return ::open(path_.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC); }));
  if (!file_.isOpen()) return SQLITE_CANTOPEN;
  sqlite3_busy_timeout(connection_, patienceMilliseconds_);
  if (const int result = applySettings()) return result;
  return prepareTables();
}

int ItemDatabase::applySettings() {
  // Of two processes that change the journal's kind at once SQLite sends one away without waiting.
  constexpr int kPauseMicroseconds = 20000;
  for (int left = 1000 * patienceMilliseconds_ / kPauseMicroseconds;; --left) {
    const int result = sqlite3_exec(connection_, kSettings, nullptr, nullptr, nullptr);
    if (result != SQLITE_BUSY || left <= 0) return result;
    ::usleep(kPauseMicroseconds);
  }
}

int ItemDatabase::prepareTables() {
  ItemTransaction transaction(*this);
  if (const int result = transaction.begin()) return result;
  std::int64_t version = 0;
  {
    ItemStatement query = statement("PRAGMA user_version");
    const int result = query.step();
    if (result != SQLITE_ROW) return result == SQLITE_DONE ? SQLITE_CORRUPT : result;
    version = query.number(0);
  }
  if (version == kVersion) return transaction.keep();
  if (version != 0) return SQLITE_NOTADB;  // a later one, which may mean something else
  if (const int result = sqlite3_exec(connection_, kTables, nullptr, nullptr, nullptr))
    return result;
  return transaction.keep();
}

bool ItemDatabase::hasMoved() const {
  int moved = 0;
  sqlite3_file_control(connection_, "main", SQLITE_FCNTL_HAS_MOVED, &moved);
  return moved != 0;
}

bool ItemDatabase::isRemoved() const {
  struct stat status;
  return ::fstat(file_.number(), &status) != 0 || status.st_nlink == 0;
}

ItemStatement ItemDatabase::statement(const char* sql) {
  sqlite3_stmt*& kept = statements_[sql];
  int error = SQLITE_OK;
  if (kept == nullptr)
    error = sqlite3_prepare_v3(connection_, sql, -1, SQLITE_PREPARE_PERSISTENT, &kept, nullptr);
  return ItemStatement(kept, error);
}

ItemTransaction::~ItemTransaction() {
  if (isOpen_) database_.run("ROLLBACK");
}

int ItemTransaction::begin() {
  const int result = database_.run("BEGIN IMMEDIATE");
  isOpen_ = result == SQLITE_OK;
  return result;
}

int ItemTransaction::keep() {
  const int result = database_.run("COMMIT");
  if (result == SQLITE_OK) isOpen_ = false;
  return result;
}

std::int32_t itemStatusOfSqlite(int error) {
  switch (error & 0xff) {
    case SQLITE_OK:
    case SQLITE_ROW:
    case SQLITE_DONE:
      return item_status::kSuccess;
    case SQLITE_FULL:
      return item_status::kDiskFull;
    case SQLITE_IOERR:
      return item_status::kInputOutput;
    case SQLITE_READONLY:
    case SQLITE_PERM:
      return item_status::kReadOnly;
    case SQLITE_CONSTRAINT:
      return item_status::kDuplicateItem;
    case SQLITE_TOOBIG:
      return item_status::kParameter;
    default:  // busy for too long, damaged, of a later version, not to be opened
      return item_status::kNotAvailable;
  }
}

}  // namespace kelm::platform
