#include "engine/StoreOpening.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

#include <SQLiteCpp/Exception.h>
#include <sqlite3.h>

#include "engine/Schema.h"

namespace kelvora::engine {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// A fault may be over at once, as when a descriptor was missing for a moment. One that lasts must
// not hold up the start of a program.
constexpr int kMostFaults = 25;
constexpr milliseconds kPause{10};

// A new file is its owner's alone; SQLite gives the files beside it the same mode. Failures show
// when SQLite opens the file.
void createPrivate(const std::string& path) {
  namespace fs = std::filesystem;
  std::error_code error;
  if (fs::exists(path, error) || error) {
    return;
  }
  const std::ofstream created(path, std::ios::app);
  fs::permissions(path, fs::perms::owner_read | fs::perms::owner_write, error);
}

std::unique_ptr<StoreFile> openOnce(const std::string& path, const ManagedObjectModel& model,
                                    milliseconds busyTimeout) {
  createPrivate(path);
  auto file = std::make_unique<StoreFile>(path, static_cast<int>(busyTimeout.count()));
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
                                     int busyTimeoutMs) {
  const auto deadline = Clock::now() + milliseconds(busyTimeoutMs);
  int faults = 0;
  for (bool isFirst = true;; isFirst = false) {
    const auto left = std::chrono::duration_cast<milliseconds>(deadline - Clock::now());
    try {
      auto file = openOnce(path, model, std::max(left, milliseconds(0)));
      file->setBusyTimeout(busyTimeoutMs);
      return file;
    } catch (const SQLite::Exception& error) {
      faults += isLockFailure(error) ? 0 : 1;
      // Twice at least: SQLite itself may have waited longer than that.
      if (faults > kMostFaults || (!isFirst && Clock::now() >= deadline)) {
        throw;
      }
    }
    std::this_thread::sleep_for(kPause);
  }
}

}  // namespace kelvora::engine
