#pragma once

#include <memory>
#include <string>

#include "platform/Platform.h"
#include "platform/recorded/MachineFile.h"
#include "platform/recorded/RecordedPlatform.h"

namespace kelvora::testing {

/// Names of the recorded Macs in machines/.
inline constexpr const char* kRecordedMachines[] = {"MacBookPro10,1", "MacBookPro15,1",
                                                    "Macmini8,1", "Macmini9,1", "iMac19,1"};

/// A recorded Mac of machines/ by its name, e.g. "MacBookPro15,1". Throws MachineFileError.
inline platform::RecordedMachine recordedMachine(const std::string& name) {
  return platform::readMachineFile(std::string(KELVORA_MACHINES) + "/" + name + ".json");
}

/// A platform over `machine`, not installed, for classes that take theirs by constructor.
inline std::unique_ptr<platform::Platform> recordedPlatform(platform::RecordedMachine machine) {
  return platform::makeRecordedPlatform(std::move(machine));
}

/// Makes a recorded Mac the current platform of this test's process.
inline platform::Platform& installRecordedPlatform(platform::RecordedMachine machine) {
  platform::Platform::install(recordedPlatform(std::move(machine)));
  return platform::Platform::current();
}

inline platform::Platform& installRecordedPlatform(const std::string& name) {
  return installRecordedPlatform(recordedMachine(name));
}

}  // namespace kelvora::testing
