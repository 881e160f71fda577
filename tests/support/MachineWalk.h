#pragma once

#include <array>
#include <memory>
#include <vector>

#include "platforms/recorded/RecordedHID.h"
#include "platforms/recorded/RecordedRegistry.h"
#include "platforms/recorded/RecordedSMC.h"
#include "platforms/recorded/RecordedSystem.h"
#include "platforms/recorded/file/MachineFile.h"
#include "platforms/shared/SystemControlTable.h"
#include "tests/support/RawSMC.h"

// Calls every operation of every port of a recorded Mac: for inputs that were not written by hand.
namespace kelvora::testing {

inline void walkSMC(const platform::RecordedMachine& machine) {
  platform::RecordedSMC smc(machine.smcKeys);
  RawSMC connection(smc);
  const auto count = machine.smcKeys ? machine.smcKeys->size() : 0;
  for (std::uint32_t index = 0; index <= count; ++index) {
    const auto key = connection.call(8, 0, 0, index).key;
    const auto size = connection.call(9, key).dataSize;
    connection.call(5, key, size);
    connection.call(6, key, size);
  }
}

inline void walkHID(const platform::RecordedMachine& machine) {
  platform::RecordedHID hid(machine.hid);
  const auto client = hid.createClient();
  const auto services = client->copyServices();
  if (!services) {
    return;
  }
  for (const auto& service : *services) {
    service->copyProperty("Product");
    for (const std::int32_t type : {0, 15, 25, 0x7fff}) {
      if (const auto event = service->copyEvent(type, 0, 0)) {
        event->floatValue(type << 16);
      }
    }
  }
}

inline void walkEntry(const platform::RegistryEntry& entry) {
  entry.name();
  const auto properties = entry.properties();
  if (properties) {
    for (const auto& [name, value] : *properties) {
      entry.property(name);
      value.integerValue();
      value.doubleValue();
      value.boolValue();
    }
  }
  for (const auto& child : entry.children("IOService")) {
    walkEntry(*child);
  }
}

inline void walkRegistry(const platform::RecordedMachine& machine) {
  platform::RecordedRegistry registry(machine.registry);
  for (const char* name : {"IOPCIDevice", "AppleSmartBattery", "IOPMPowerSource", "AppleARMPE"}) {
    const auto services = registry.matchingServices(name);
    if (!services) {
      continue;
    }
    for (const auto& service : *services) {
      walkEntry(*service);
    }
  }
}

inline void walkSystem(const platform::RecordedMachine& machine) {
  platform::SystemControlTable controls(machine.sysctl);
  std::array<std::byte, 16> buffer{};
  for (const auto& [name, bytes] : machine.sysctl) {
    std::size_t size = buffer.size();
    controls.byName(name.c_str(), buffer.data(), &size);
  }
  for (const int number : {3, 7}) {
    std::size_t size = buffer.size();
    controls.byNumber(std::array{6, number}, buffer.data(), &size);
  }
  platform::RecordedSystemFacts facts(machine);
  for (const auto& path : facts.mountedVolumePaths()) {
    facts.diskDescription(path);
  }
  facts.activeDisplays();
  facts.primaryHostAddress();
  platform::RecordedHostStatistics(machine.statistics).processorTicks();
  platform::interfaceListBytes(machine.statistics.interfaces);
  platform::RecordedChildProcesses children(machine.commands);
  for (const auto& command : machine.commands) {
    const auto launch = children.launch({command.path, command.arguments, true, false, 0});
    while (launch.child->readStandardOutput(buffer) > 0) {
    }
  }
}

inline void walkMachine(const platform::RecordedMachine& machine) {
  walkSMC(machine);
  walkHID(machine);
  walkRegistry(machine);
  walkSystem(machine);
}

}  // namespace kelvora::testing
