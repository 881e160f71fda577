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

bool exists(const std::string& path) {
  std::error_code error;
  return std::filesystem::exists(path, error);
}

std::string faultOfContent(const std::string& path, Platform& platform) {
  const auto model = KVCoreDataStore(-1, platform).managedObjectModel();
  if (model == nullptr) {
    return "this program has no model of it";
  }
  try {
    SQLite::Database database(engine::readOnlyURI(path), SQLite::OPEN_READONLY | SQLite::OPEN_URI,
                              kBusyTimeoutMs);
    std::string result = database.execAndGet("PRAGMA quick_check(1)").getString();
    if (result != "ok") {
      return result;
    }
    engine::requireCompatible(database, *model);
    return "";
  } catch (const std::exception& failure) {
    return failure.what();
  }
}

std::string faultOf(const std::string& path, Platform& platform) {
  // Opening a pipe, say, would wait for the other end.
  if (std::error_code error; !std::filesystem::is_regular_file(path, error)) {
    return "not a file";
  }
  if (!engine::isWritable(path)) {
    return std::generic_category().message(errno);
  }
  return faultOfContent(path, platform);
}

}  // namespace

std::optional<KVStoreFile> storeFile(Platform& platform) {
  const auto folder = KVUtils::groupContainerLocation(platform);
  if (!folder) {
    return std::nullopt;
  }
  const std::string path = *folder + "/" + kStoreFileName;
  const bool isThere = exists(path);
  return KVStoreFile{path, isThere, isThere ? faultOf(path, platform) : ""};
}

}  // namespace kelvora
