#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include <sqlite3.h>

#include "KelvoraCore/ManagedValue.h"

#include "engine/ManagedObjectModel.h"

namespace SQLite {
class Database;
}

namespace kelvora::engine {

/// A compiled SQL statement that runs many times. Unlike the statement class of SQLiteCpp it reads
/// a column without a shared handle, which would be most of the cost of a row here. Used on the
/// thread of its connection; every failure throws SQLite::Exception.
class PreparedStatement {
 public:
  PreparedStatement(SQLite::Database& database, const std::string& sql);
  ~PreparedStatement();
  PreparedStatement(const PreparedStatement&) = delete;
  PreparedStatement& operator=(const PreparedStatement&) = delete;

  /// Parameters count from 1. Text and bytes are not copied: the caller keeps them until the run
  /// ends.
  void bind(int parameter, const ManagedValue& value);
  void bind(int parameter, std::int64_t number);
  /// True while there is a row.
  bool step();
  /// Ends the run and forgets the parameters.
  void reset();

  // The current row; columns count from 0.
  bool isNull(int column) const { return sqlite3_column_type(handle_, column) == SQLITE_NULL; }
  std::int64_t integer(int column) const { return sqlite3_column_int64(handle_, column); }
  std::string text(int column) const;
  /// The value of a stored property.
  ManagedValue value(int column, const Column& property) const;

 private:
  void check(int code) const;
  sqlite3_stmt* handle_ = nullptr;
};

/// One run of a statement; resets it at the end of its scope.
class StatementRun {
 public:
  explicit StatementRun(std::shared_ptr<PreparedStatement> statement)
      : statement_(std::move(statement)) {}
  ~StatementRun() { statement_->reset(); }
  StatementRun(const StatementRun&) = delete;
  StatementRun& operator=(const StatementRun&) = delete;
  PreparedStatement* operator->() const { return statement_.get(); }
  PreparedStatement& operator*() const { return *statement_; }

 private:
  std::shared_ptr<PreparedStatement> statement_;
};

}  // namespace kelvora::engine
