#include "engine/StoreFile.h"

#include <filesystem>
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

int flagsFor(StoreAccess access) {
  return SQLite::OPEN_NOMUTEX |
         (access == StoreAccess::kReadOnly ? SQLite::OPEN_READONLY | SQLite::OPEN_URI
                                           : SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
}

}  // namespace

// SQLite reads a write-ahead log through its index, and would create one. Without an index no
// program has the file open, and the file is read by itself.
std::string readOnlyURI(const std::string& path) {
  const bool isInUse = exists(path + "-wal") && exists(path + "-shm");
  return "file:" + escaped(path) + (isInUse ? "?mode=ro" : "?mode=ro&immutable=1");
}

bool isWritable(const std::string& path) {
  sqlite3_vfs* const files = sqlite3_vfs_find(nullptr);
  int writable = 0;
  return files->xAccess(files, path.c_str(), SQLITE_ACCESS_READWRITE, &writable) == SQLITE_OK &&
         writable != 0;
}

StoreFile::StoreFile(const std::string& path, int busyTimeoutMs, StoreAccess access)
    : database_(access == StoreAccess::kReadOnly ? readOnlyURI(path) : path, flagsFor(access),
                busyTimeoutMs) {
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
  database_.exec("PRAGMA journal_mode=WAL");
  // A commit survives the end of the process at any moment. A power cut may lose the last commits,
  // never the file.
  database_.exec("PRAGMA synchronous=NORMAL");
  // 16 MB: a page that several saves change is then copied into the file once.
  database_.exec("PRAGMA wal_autocheckpoint=16384");
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
