#pragma once

#include <vector>

#include "platforms/recorded/RecordedMachine.h"
#include "platforms/recorded/file/JSONPlace.h"

namespace kelvora::platform {

// One function per member of a machine file. Each throws MachineFileError on a wrong kind.

/// All of a machine file.
RecordedMachine machineAt(const JSONPlace& root);
std::vector<RecordedSMCKey> smcKeysAt(const JSONPlace& keys);
std::vector<RecordedHIDService> hidServicesAt(const JSONPlace& services);
std::vector<std::pair<std::string, RecordedRegistryEntry>> registryAt(const JSONPlace& registry);
void readSystemControls(const JSONPlace& controls, RecordedMachine& machine);
std::vector<RecordedCommand> commandsAt(const JSONPlace& commands);
void readOS(const JSONPlace& os, RecordedMachine& machine);
void readHost(const JSONPlace& host, RecordedMachine& machine);
std::vector<Display> displaysAt(const JSONPlace& displays);
std::vector<RecordedVolume> volumesAt(const JSONPlace& volumes);
std::vector<RunningApplication> applicationsAt(const JSONPlace& applications);
RecordedStatistics statisticsAt(const JSONPlace& place);

/// The bytes that a text spells in hexadecimal, two digits each, of either case.
std::vector<std::byte> hexadecimalBytesAt(const JSONPlace& place);

/// An array's elements, each read by `read(place)`.
template <typename Element, typename Reader>
std::vector<Element> elementsAt(const JSONPlace& array, Reader read) {
  std::vector<Element> elements;
  array.eachElement([&](const JSONPlace& place) { elements.push_back(read(place)); });
  return elements;
}

}  // namespace kelvora::platform
