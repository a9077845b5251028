#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "kelm/base/data.h"
#include "kelm/platform/linux/files/system_call.h"

namespace kelm::platform {

/// A statement of a database, for one run: reset, so that it locks nothing, at its end.
class ItemStatement {
 public:
  /// `error`: why there is no statement, which is what step() then says.
  ItemStatement(sqlite3_stmt* statement, int error) : statement_(statement), error_(error) {}
  ~ItemStatement();
  ItemStatement(const ItemStatement&) = delete;
  ItemStatement& operator=(const ItemStatement&) = delete;

  /// Parameters are numbered from 1; what is bound must outlive the run.
  ItemStatement& bind(int parameter, std::int64_t number);
  ItemStatement& bind(int parameter, std::string_view text);
  ItemStatement& bind(int parameter, DataView bytes);
  /// SQLITE_ROW, SQLITE_DONE or an error.
  int step();
  /// Success, or what came instead of the end of a statement without rows.
  int run();
  std::int64_t number(int column) const;
  /// Valid until the next step.
  DataView bytes(int column) const;

 private:
  sqlite3_stmt* statement_;
  int error_;
};

/// A connection to a database in one file. Not thread-safe. Its errors are those of SQLite.
class ItemDatabase {
 public:
  /// `vfs`: SQLite's name of how files are reached; empty: its own way.
  ItemDatabase(std::string path, std::string vfs, int patienceMilliseconds);
  ~ItemDatabase();
  ItemDatabase(const ItemDatabase&) = delete;
  ItemDatabase& operator=(const ItemDatabase&) = delete;

  /// Opens the file, makes what is missing and checks its version. Once it failed the object is
  /// of no use.
  int open();
  /// True when the path leads to another file by now, or to none.
  bool hasMoved() const;
  /// True when the file was removed or replaced; that a folder on its path was moved away does not
  /// count. Quicker than hasMoved().
  bool isRemoved() const;
  /// Statements are kept; `sql` is a literal.
  ItemStatement statement(const char* sql);
  int run(const char* sql) { return statement(sql).run(); }
  /// Rows that the last statement changed; the number of the row that the last one inserted.
  int changes() const { return sqlite3_changes(connection_); }
  std::int64_t lastRow() const { return sqlite3_last_insert_rowid(connection_); }

 private:
  int makeFile() const;
  int applySettings();
  int prepareTables();

  const std::string path_;
  const std::string vfs_;
  const int patienceMilliseconds_;
  sqlite3* connection_ = nullptr;
  Descriptor file_;  // of its name alone: to close it frees no lock
  std::unordered_map<const char*, sqlite3_stmt*> statements_;
};

/// A change that is made whole or not at all: undone at the end of its scope unless it was kept.
class ItemTransaction {
 public:
  explicit ItemTransaction(ItemDatabase& database) : database_(database) {}
  ~ItemTransaction();
  ItemTransaction(const ItemTransaction&) = delete;
  ItemTransaction& operator=(const ItemTransaction&) = delete;

  /// Waits for other processes as long as the database's patience lasts.
  int begin();
  int keep();

 private:
  ItemDatabase& database_;
  bool isOpen_ = false;
};

/// The status of the item store for an error of SQLite; success for its three kinds of success.
std::int32_t itemStatusOfSqlite(int error);

}  // namespace kelm::platform
