#include "KelvoraCore/KVStoreFile.h"

#include <cerrno>
#include <exception>
#include <filesystem>
#include <system_error>

#include <SQLiteCpp/Database.h>

#include "KelvoraCore/KVCoreDataStore.h"
#include "KelvoraCore/KVUtils.h"

#include "engine/Schema.h"
#include "engine/StoreFile.h"
#include "store/StoreFileName.h"

namespace kelvora {

namespace {

constexpr int kBusyTimeoutMs = 5000;

void examineContent(KVStoreFile& file, Platform& platform) {
  const auto model = KVCoreDataStore(-1, platform).managedObjectModel();
  if (model == nullptr) {
    file.fault = "this program has no model of it";
    return;
  }
  try {
    SQLite::Database database = engine::databaseForReading(file.path, kBusyTimeoutMs);
    const std::string result = database.execAndGet("PRAGMA quick_check(1)").getString();
    if (result != "ok") {
      file.fault = result;
      return;
    }
    engine::requireCompatible(database, *model);
    file.isOlder = engine::isOlder(database, *model);
  } catch (const std::exception& failure) {
    file.fault = failure.what();
  }
}

std::string faultOf(const std::string& path) {
  return path + ": " + std::generic_category().message(errno);
}

// SQLite keeps its log beside the file that a link leads to.
std::string faultBeside(const std::string& path) {
  namespace fs = std::filesystem;
  std::error_code error;
  const fs::path file = fs::canonical(path, error);
  if (const std::string folder = file.parent_path().string(); !engine::isWritable(folder)) {
    return faultOf(folder);
  }
  for (const char* ending : {"-wal", "-shm"}) {
    const std::string beside = file.string() + ending;
    const fs::file_status status = fs::symlink_status(beside, error);
    if (fs::exists(status) && !fs::is_regular_file(status)) {
      return beside + ": not a file";
    }
    // The last program that closes the store removes them.
    if (fs::exists(status) && !engine::isWritable(beside) && errno != ENOENT) {
      return faultOf(beside);
    }
  }
  return "";
}

void examine(KVStoreFile& file, Platform& platform) {
  // Opening e.g. a pipe would wait for the other end.
  if (std::error_code error; !std::filesystem::is_regular_file(file.path, error)) {
    file.fault = "not a file";
  } else if (!engine::isWritable(file.path)) {
    file.fault = std::generic_category().message(errno);
  } else if (file.fault = faultBeside(file.path); file.fault.empty()) {
    examineContent(file, platform);
  }
}

}  // namespace

std::optional<KVStoreFile> storeFile(Platform& platform) {
  const auto folder = KVUtils::groupContainerLocation(platform);
  if (!folder) {
    return std::nullopt;
  }
  KVStoreFile file;
  file.path = *folder + "/" + kStoreFileName;
  std::error_code error;
  file.exists = std::filesystem::exists(file.path, error) || error;
  if (error) {
    file.fault = error.message();
  } else if (file.exists) {
    examine(file, platform);
  }
  return file;
}

}  // namespace kelvora
