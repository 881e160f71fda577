#include "engine/StoreFile.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <system_error>

#include <SQLiteCpp/Exception.h>
#include <sqlite3.h>

#include "engine/TextMatching.h"

namespace kelvora::engine {

namespace {

constexpr std::size_t kMostStatements = 200;

// Small pages: when a batch is entered, one index page of each owner changes, and pages are written
// whole.
constexpr const char* kPageSize = "PRAGMA page_size=1024";

bool exists(const std::string& path) {
  std::error_code error;
  return std::filesystem::exists(path, error);
}

// The characters that would end a path in a URI, or begin an escape.
std::string escaped(const std::string& path) {
  std::string text;
  for (const char character : path) {
    text += character == '%'   ? "%25"
            : character == '?' ? "%3f"
            : character == '#' ? "%23"
                               : std::string(1, character);
  }
  return text;
}

std::optional<std::uintmax_t> sizeOf(const std::string& path) {
  std::error_code error;
  const auto size = std::filesystem::file_size(path, error);
  return error ? std::nullopt : std::optional(size);
}

// SQLite keeps the log beside the file that a link leads to.
std::string endOfLinks(const std::string& path) {
  std::error_code error;
  const std::filesystem::path end = std::filesystem::canonical(path, error);
  return error ? path : end.string();
}

constexpr int kReadingFlags = SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_READONLY | SQLITE_OPEN_URI;
constexpr int kWritingFlags = SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;

// With a log that has no index, as a copy of the two files. SQLite builds the index in memory where
// it has the file for itself, which it does without asking in a file system without locks. At the
// end it would try to write the log into the file.
SQLite::Database databaseWithLog(const std::string& uri, int busyTimeoutMs) {
  SQLite::Database database(uri, kReadingFlags, busyTimeoutMs, "unix-none");
  sqlite3_db_config(database.getHandle(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
  database.exec("PRAGMA locking_mode=EXCLUSIVE");
  return database;
}

}  // namespace

// SQLite reads a write-ahead log through its index, and would create one. Without an index no
// program has the file open.
SQLite::Database databaseForReading(const std::string& path, int busyTimeoutMs) {
  const std::string uri = "file:" + escaped(path) + "?mode=ro";
  const std::string file = endOfLinks(path);
  if (exists(file + "-wal") && exists(file + "-shm")) {
    return {uri, kReadingFlags, busyTimeoutMs};
  }
  if (sizeOf(file + "-wal").value_or(0) > 0) {
    return databaseWithLog(uri, busyTimeoutMs);
  }
  return {uri + "&immutable=1", kReadingFlags, busyTimeoutMs};
}

bool isWritable(const std::string& path) {
  sqlite3_vfs* const files = sqlite3_vfs_find(nullptr);
  int writable = 0;
  return files->xAccess(files, path.c_str(), SQLITE_ACCESS_READWRITE, &writable) == SQLITE_OK &&
         writable != 0;
}

StoreFile::StoreFile(const std::string& path, int busyTimeoutMs, StoreAccess access)
    : database_(access == StoreAccess::kReadOnly
                    ? databaseForReading(path, busyTimeoutMs)
                    : SQLite::Database(path, kWritingFlags, busyTimeoutMs)) {
  if (access == StoreAccess::kReadOnly) {
    configure();
    return;
  }
  // SQLite opens a file for reading only when it does not open for writing, be it for a moment.
  if (sqlite3_db_readonly(database_.getHandle(), "main") == 1 && isWritable(path)) {
    throw SQLite::Exception("the file opened for reading only", SQLITE_CANTOPEN);
  }
  configureWriting();
  configure();
}

void StoreFile::configureWriting() {
  database_.exec(kPageSize);
  removeRemains();
  database_.exec("PRAGMA journal_mode=WAL");
  // A commit survives the end of the process at any moment. A power cut may lose the last commits,
  // never the file.
  database_.exec("PRAGMA synchronous=NORMAL");
  // 16 MB: a page that several saves change is then copied into the file once.
  database_.exec("PRAGMA wal_autocheckpoint=16384");
}

// A log beside a new file is of a file that was deleted. While a program has that file open, SQLite
// would take its index for the new one's. With the lock no other program can use a log of the new
// file, since it keeps a lock on the file as long as it does.
void StoreFile::removeRemains() {
  const char* const name = sqlite3_db_filename(database_.getHandle(), "main");
  const std::string path = name == nullptr ? "" : name;
  if (sizeOf(path) != 0U) {
    return;
  }
  database_.exec("BEGIN EXCLUSIVE");
  if (sizeOf(path) == 0U) {
    std::error_code error;
    std::filesystem::remove(path + "-wal", error);
    std::filesystem::remove(path + "-shm", error);
  }
  database_.exec("ROLLBACK");
}

void StoreFile::configure() {
  registerTextFunctions(database_);
  database_.exec("PRAGMA cache_size=-16384");
  database_.exec("PRAGMA temp_store=MEMORY");
  versionQuery_ = std::make_shared<PreparedStatement>(database_, "PRAGMA data_version");
}

void StoreFile::execute(const std::string& sql) { database_.exec(sql); }

std::shared_ptr<PreparedStatement> StoreFile::statement(const std::string& sql) {
  const auto found = statements_.find(sql);
  if (found != statements_.end()) {
    return found->second;
  }
  if (statements_.size() >= kMostStatements) {
    statements_.clear();
  }
  auto made = std::make_shared<PreparedStatement>(database_, sql);
  statements_.emplace(sql, made);
  return made;
}

std::uint32_t StoreFile::seenVersion() {
  unsigned version = 0;
  sqlite3_file_control(database_.getHandle(), "main", SQLITE_FCNTL_DATA_VERSION, &version);
  return version;
}

std::uint32_t StoreFile::currentVersion() {
  const StatementRun run(versionQuery_);
  run->step();
  return seenVersion();
}

bool StoreFile::hasMoved() {
  int moved = 0;
  sqlite3_file_control(database_.getHandle(), "main", SQLITE_FCNTL_HAS_MOVED, &moved);
  return moved != 0;
}

WriteTransaction::WriteTransaction(StoreFile& file) : file_(file) {
  file_.execute("BEGIN IMMEDIATE");
}

WriteTransaction::~WriteTransaction() {
  if (open_) {
    file_.database().tryExec("ROLLBACK");
  }
}

void WriteTransaction::commit() {
  file_.execute("COMMIT");
  open_ = false;
}

}  // namespace kelvora::engine
