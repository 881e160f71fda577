#pragma once

#include <memory>
#include <string>

#include "platforms/recorded/RecordedPlatform.h"
#include "platforms/recorded/file/MachineFile.h"
#include "ports/Ports.h"
#include "tests/support/InProcessNotificationCentres.h"
#include "tests/support/MemoryUserDefaults.h"

namespace kelvora::testing {

/// Names of the recorded Macs in machines/.
inline constexpr const char* kRecordedMachines[] = {"MacBookPro10,1", "MacBookPro15,1",
                                                    "Macmini8,1", "Macmini9,1", "iMac19,1"};

/// A recorded Mac of machines/ by its name, e.g. "MacBookPro15,1". Throws MachineFileError.
inline platform::RecordedMachine recordedMachine(const std::string& name) {
  return platform::readMachineFile(std::string(KELVORA_MACHINES) + "/" + name + ".json");
}

/// A platform over `machine`, not installed, for classes that take theirs by constructor. Settings
/// live in memory and notices in the process: no test sees another's, nor the user's.
inline std::unique_ptr<Platform> recordedPlatform(platform::RecordedMachine machine) {
  auto result = platform::makeRecordedPlatform(std::move(machine));
  result->ports().userDefaults = std::make_unique<platform::MemoryUserDefaults>();
  result->ports().notificationCentres =
      std::make_unique<platform::InProcessNotificationCentres>(result->mainQueue());
  return result;
}

/// Makes a recorded Mac the current platform of this test's process.
inline Platform& installRecordedPlatform(platform::RecordedMachine machine) {
  Platform::install(recordedPlatform(std::move(machine)));
  return Platform::current();
}

inline Platform& installRecordedPlatform(const std::string& name) {
  return installRecordedPlatform(recordedMachine(name));
}

}  // namespace kelvora::testing
