#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>

#include <SQLiteCpp/Database.h>

#include "engine/PreparedStatement.h"

namespace kelvora::engine {

/// Whether this user may read and write a file, found without opening it: closing a file would end
/// the locks that this process has on it, among them those of an open store. False leaves the
/// reason in errno.
bool isWritable(const std::string& path);

/// What a program does with a store file.
enum class StoreAccess : std::uint8_t {
  kReadWrite,
  /// Creates nothing, and changes neither the file nor its log. The log's index, the "-shm" file,
  /// is made again where a program was killed.
  kReadOnly,
};

/// A connection that reads a file without creating anything beside it, also while programs write to
/// it. It must end soon: a program that starts to write later may change what it reads. Throws
/// SQLite::Exception.
SQLite::Database databaseForReading(const std::string& path, int busyTimeoutMs);

/// The connection to a store file: SQLite with a write-ahead log, so that readers never wait for
/// the writer, and a busy time-out, since one program writes at a time. Every failure throws
/// SQLite::Exception. One thread at a time.
class StoreFile {
 public:
  /// Opens the file; for writing too creates it if it is absent. Programs call openStore(), which
  /// tries again.
  StoreFile(const std::string& path, int busyTimeoutMs,
            StoreAccess access = StoreAccess::kReadWrite);

  /// How long statements wait for another program's lock.
  void setBusyTimeout(int milliseconds) { database_.setBusyTimeout(milliseconds); }

  void execute(const std::string& sql);
  /// The compiled statement of a text; compiled on first use and kept.
  std::shared_ptr<PreparedStatement> statement(const std::string& sql);

  /// A number that grows with every commit of any connection, as of the last transaction here.
  std::uint32_t seenVersion();
  /// The same number as of now; looks at the file.
  std::uint32_t currentVersion();

  /// Whether the path now leads to another file or to none, so that what is written here is lost.
  bool hasMoved();

  SQLite::Database& database() { return database_; }

 private:
  void configure();
  void configureWriting();
  void removeRemains();

  SQLite::Database database_;
  std::unordered_map<std::string, std::shared_ptr<PreparedStatement>> statements_;
  std::shared_ptr<PreparedStatement> versionQuery_;
};

/// A write transaction: takes the write lock at once, and rolls back unless committed.
class WriteTransaction {
 public:
  explicit WriteTransaction(StoreFile& file);
  ~WriteTransaction();
  WriteTransaction(const WriteTransaction&) = delete;
  WriteTransaction& operator=(const WriteTransaction&) = delete;
  void commit();

 private:
  StoreFile& file_;
  bool open_ = true;
};

}  // namespace kelvora::engine
