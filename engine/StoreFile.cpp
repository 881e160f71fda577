#include "engine/StoreFile.h"

#include <chrono>
#include <functional>
#include <thread>

#include <SQLiteCpp/Exception.h>
#include <sqlite3.h>

#include "engine/TextMatching.h"

namespace kelvora::engine {

namespace {

constexpr std::size_t kMostStatements = 200;

// Small pages: a save of one new row for each of many owners touches one index page per owner when
// a batch is entered, and writes these pages whole.
constexpr const char* kPageSize = "PRAGMA page_size=1024";

// Taking the file into write-ahead logging does not wait for other connections by itself.
void retryWhileBusy(int timeoutMs, const std::function<void()>& work) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
  while (true) {
    try {
      work();
      return;
    } catch (const SQLite::Exception& error) {
      if (error.getErrorCode() != SQLITE_BUSY || std::chrono::steady_clock::now() > deadline) {
        throw;
      }
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
}

}  // namespace

StoreFile::StoreFile(const std::string& path, int busyTimeoutMs)
    : database_(path, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE | SQLite::OPEN_NOMUTEX,
                busyTimeoutMs) {
  configure(busyTimeoutMs);
}

void StoreFile::configure(int busyTimeoutMs) {
  registerTextFunctions(database_);
  retryWhileBusy(busyTimeoutMs, [this] {
    database_.exec(kPageSize);
    database_.exec("PRAGMA journal_mode=WAL");
  });
  // A commit survives the death of the process at any moment; a power cut may take the last ones,
  // never the file.
  database_.exec("PRAGMA synchronous=NORMAL");
  // 16 MB: pages that several saves change are copied into the file once.
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
