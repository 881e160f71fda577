#include <algorithm>
#include <filesystem>

#include "KelvoraCore/KVDataManager.h"

#include "ports/Ports.h"

namespace kelvora {

namespace {

// The database comes last: while it exists no program creates another one. A log that is beside a
// new database would hold what was saved there, so nothing is removed after the database. A log
// that a program creates meanwhile for the old one is removed by whoever creates the next.
constexpr const char* kExtensionsInOrder[] = {".sqlite-shm", ".sqlite-wal", ".sqlite"};

}  // namespace

void KVDataManager::clearData() {
  setMainSensor(nullptr);
  setMenuSensors(std::nullopt);
  setOpenAtLogin(std::nullopt);
  const std::string folder = store_->applicationDocumentsDirectory();
  if (folder.empty()) {
    return;
  }
  const auto names = platform().files().list(folder).value_or(std::vector<std::string>());
  for (const char* extension : kExtensionsInOrder) {
    for (const std::string& name : names) {
      if (std::filesystem::path(name).extension() == extension) {
        platform().files().remove((std::filesystem::path(folder) / name).string());
      }
    }
  }
}

}  // namespace kelvora
