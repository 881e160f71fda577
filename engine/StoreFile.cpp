#include "engine/StoreFile.h"

#include <SQLiteCpp/Exception.h>
#include <sqlite3.h>

#include "engine/TextMatching.h"

namespace kelvora::engine {

namespace {

constexpr std::size_t kMostStatements = 200;

// Small pages: when a batch is entered, one index page of each owner changes, and pages are written
// whole.
constexpr const char* kPageSize = "PRAGMA page_size=1024";

}  // namespace

bool isWritable(const std::string& path) {
  sqlite3_vfs* const files = sqlite3_vfs_find(nullptr);
  int writable = 0;
  return files->xAccess(files, path.c_str(), SQLITE_ACCESS_READWRITE, &writable) == SQLITE_OK &&
         writable != 0;
}

StoreFile::StoreFile(const std::string& path, int busyTimeoutMs)
    : database_(path, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE | SQLite::OPEN_NOMUTEX,
                busyTimeoutMs) {
  // SQLite opens a file for reading only when it does not open for writing, be it for a moment.
  if (sqlite3_db_readonly(database_.getHandle(), "main") == 1 && isWritable(path)) {
    throw SQLite::Exception("the file opened for reading only", SQLITE_CANTOPEN);
  }
  configure();
}

void StoreFile::configure() {
  registerTextFunctions(database_);
  database_.exec(kPageSize);
  database_.exec("PRAGMA journal_mode=WAL");
  // A commit survives the end of the process at any moment. A power cut may lose the last commits,
  // never the file.
  database_.exec("PRAGMA synchronous=NORMAL");
  // 16 MB: a page that several saves change is then copied into the file once.
  database_.exec("PRAGMA wal_autocheckpoint=16384");
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
