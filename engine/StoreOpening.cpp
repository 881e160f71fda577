#include "engine/StoreOpening.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <system_error>
#include <thread>

#include <SQLiteCpp/Exception.h>
#include <sqlite3.h>

#include "engine/Schema.h"
#include "ports/NewFile.h"

namespace kelvora::engine {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// A fault may be over at once, as when a descriptor was missing for a moment. One that lasts must
// not hold up the start of a program.
constexpr int kMostFaults = 25;
constexpr milliseconds kPause{10};

// SQLite gives the files beside it the same owner and mode.
void createPrivate(const std::string& path) {
  std::error_code error;
  if (std::filesystem::exists(path, error) || error) {
    return;
  }
  error = platform::createNewFile(path, platform::NewFileAccess::kOwnerOnly);
  if (error && error != std::errc::file_exists) {
    throw SQLite::Exception("unable to create database file: " + error.message(), SQLITE_CANTOPEN);
  }
}

std::unique_ptr<StoreFile> openToRead(const std::string& path, const ManagedObjectModel& model,
                                      int busyTimeoutMs) {
  namespace fs = std::filesystem;
  std::error_code error;
  // Opening e.g. a pipe would wait for the other end.
  if (const fs::file_status status = fs::status(path, error); !fs::is_regular_file(status)) {
    throw IncompatibleStore(fs::exists(status) ? "not a file" : "there is no file");
  }
  auto file = std::make_unique<StoreFile>(path, busyTimeoutMs, StoreAccess::kReadOnly);
  requireEqual(file->database(), model);
  return file;
}

// What a reader sees of a file that has no tables, as a full disk may leave it.
std::unique_ptr<StoreFile> emptyStore(const ManagedObjectModel& model) {
  auto file = std::make_unique<StoreFile>(":memory:", 0, StoreAccess::kReadWrite);
  prepareSchema(*file, model);
  file->execute("PRAGMA query_only=1");
  return file;
}

std::unique_ptr<StoreFile> openToWrite(const std::string& path, const ManagedObjectModel& model,
                                       int busyTimeoutMs) {
  createPrivate(path);
  auto file = std::make_unique<StoreFile>(path, busyTimeoutMs, StoreAccess::kReadWrite);
  prepareSchema(*file, model);
  return file;
}

}  // namespace

bool isLockFailure(const std::exception& failure) {
  const auto* error = dynamic_cast<const SQLite::Exception*>(&failure);
  const int code = error == nullptr ? SQLITE_OK : error->getErrorCode() & 0xFF;
  return code == SQLITE_BUSY || code == SQLITE_LOCKED || code == SQLITE_PROTOCOL;
}

std::unique_ptr<StoreFile> openStore(const std::string& path, const ManagedObjectModel& model,
                                     int busyTimeoutMs, StoreAccess access) {
  const auto openOnce = access == StoreAccess::kReadOnly ? openToRead : openToWrite;
  const auto deadline = Clock::now() + milliseconds(busyTimeoutMs);
  int faults = 0;
  for (bool isFirst = true;; isFirst = false) {
    const auto left = std::chrono::duration_cast<milliseconds>(deadline - Clock::now());
    try {
      auto file =
          openOnce(path, model, static_cast<int>(std::max<milliseconds::rep>(left.count(), 0)));
      file->setBusyTimeout(busyTimeoutMs);
      return file;
    } catch (const SQLite::Exception& error) {
      faults += isLockFailure(error) ? 0 : 1;
      // Twice at least: SQLite itself may have waited longer than that.
      if (faults > kMostFaults || (!isFirst && Clock::now() >= deadline)) {
        throw;
      }
    } catch (const UnwrittenStore&) {  // another program may be creating it
      if (++faults > kMostFaults) {
        return emptyStore(model);
      }
    }
    std::this_thread::sleep_for(kPause);
  }
}

}  // namespace kelvora::engine
