#include <algorithm>
#include <filesystem>

#include "KelvoraCore/KVDataManager.h"

#include "ports/Ports.h"

namespace kelvora {

namespace {

// The database comes last among the files of a store that a program opens meanwhile: without a
// database the program would create one, and then lose its log to this loop. What it created beside
// the old database goes at the end.
constexpr const char* kExtensionsInOrder[] = {".sqlite-shm", ".sqlite-wal", ".sqlite",
                                              ".sqlite-shm", ".sqlite-wal"};

void removeEntries(platform::Files& files, const std::string& folder, const char* extension) {
  const auto names = files.list(folder);
  for (const std::string& name : names.value_or(std::vector<std::string>())) {
    if (std::filesystem::path(name).extension() == extension) {
      files.remove((std::filesystem::path(folder) / name).string());
    }
  }
}

}  // namespace

void KVDataManager::clearData() {
  setMainSensor(nullptr);
  setMenuSensors(std::nullopt);
  setOpenAtLogin(std::nullopt);
  const std::string folder = store_->applicationDocumentsDirectory();
  if (folder.empty()) {
    return;
  }
  for (const char* extension : kExtensionsInOrder) {
    removeEntries(platform().files(), folder, extension);
  }
}

}  // namespace kelvora
