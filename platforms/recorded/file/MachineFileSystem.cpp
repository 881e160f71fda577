// The members of a machine file that describe the operating system and what runs on it.

#include "platforms/recorded/file/MachineFileParts.h"
#include "platforms/shared/SystemControlTable.h"

namespace kelvora::platform {

namespace {

std::vector<std::byte> controlAt(const JSONPlace& place) {
  if (place.value().is_string()) {
    return textControlBytes(place.text());
  }
  if (!place.value().is_object() || place.value().size() != 1) {
    place.refuse("must be a text, an {\"int32\": …} or an {\"int64\": …}");
  }
  std::vector<std::byte> bytes;
  place.member("int32", [&](const JSONPlace& at) {
    // A size above 2^31 is recorded unsigned.
    bytes = int32ControlBytes(static_cast<std::int32_t>(at.integer(
        std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::uint32_t>::max())));
  });
  place.member("int64",
               [&](const JSONPlace& at) { bytes = int64ControlBytes(at.integer<std::int64_t>()); });
  if (bytes.empty()) {
    place.refuse("must be a text, an {\"int32\": …} or an {\"int64\": …}");
  }
  return bytes;
}

std::string textAt(const JSONPlace& place) { return place.text(); }

std::string standardOutputAt(const JSONPlace& place) {
  if (place.value().is_string()) {
    return place.text();
  }
  if (!place.value().is_object()) {
    place.refuse("must be a text or an object");
  }
  return place.value().dump(2) + "\n";
}

RecordedCommand commandAt(const JSONPlace& place) {
  RecordedCommand command;
  place.requiredMember("path", [&](const JSONPlace& at) { command.path = at.text(); });
  place.member("arguments", [&](const JSONPlace& at) {
    command.arguments = elementsAt<std::string>(at, textAt);
  });
  place.member("stdout",
               [&](const JSONPlace& at) { command.standardOutput = standardOutputAt(at); });
  return command;
}

OSVersion versionAt(const JSONPlace& place) {
  const auto parts = elementsAt<std::int64_t>(
      place, [](const JSONPlace& at) { return at.integer<std::int64_t>(); });
  if (parts.empty() || parts.size() > 3) {
    place.refuse("must be one to three numbers");
  }
  return {parts[0], parts.size() > 1 ? parts[1] : 0, parts.size() > 2 ? parts[2] : 0};
}

Display displayAt(const JSONPlace& place) {
  Display display;
  place.member("builtIn", [&](const JSONPlace& at) { display.builtIn = at.boolean(); });
  place.member("width", [&](const JSONPlace& at) { display.width = at.number(); });
  place.member("height", [&](const JSONPlace& at) { display.height = at.number(); });
  return display;
}

RecordedVolume volumeAt(const JSONPlace& place) {
  RecordedVolume volume;
  DiskDescription& disk = volume.description;
  place.requiredMember("path", [&](const JSONPlace& at) { volume.path = at.text(); });
  place.member("mediaName", [&](const JSONPlace& at) { disk.mediaName = at.text(); });
  place.member("deviceModel", [&](const JSONPlace& at) { disk.deviceModel = at.text(); });
  place.member("mediaSize",
               [&](const JSONPlace& at) { disk.mediaSizeBytes = at.integer<std::int64_t>(); });
  place.member("removable", [&](const JSONPlace& at) { disk.mediaRemovable = at.boolean(); });
  return volume;
}

RunningApplication applicationAt(const JSONPlace& place) {
  RunningApplication application;
  place.member("pid", [&](const JSONPlace& at) { application.pid = at.integer<std::int64_t>(); });
  place.member("bundleIdentifier",
               [&](const JSONPlace& at) { application.bundleIdentifier = at.text(); });
  place.member("localizedName",
               [&](const JSONPlace& at) { application.localizedName = at.text(); });
  return application;
}

}  // namespace

void readSystemControls(const JSONPlace& controls, RecordedMachine& machine) {
  controls.eachMember([&](const std::string& name, const JSONPlace& at) {
    machine.sysctl.emplace(name, controlAt(at));
  });
}

std::vector<RecordedCommand> commandsAt(const JSONPlace& commands) {
  return elementsAt<RecordedCommand>(commands, commandAt);
}

void readOS(const JSONPlace& os, RecordedMachine& machine) {
  os.member("version", [&](const JSONPlace& at) { machine.osVersion = versionAt(at); });
  os.member("text", [&](const JSONPlace& at) { machine.osText = at.text(); });
}

void readHost(const JSONPlace& host, RecordedMachine& machine) {
  host.member("localizedName", [&](const JSONPlace& at) { machine.localizedHostName = at.text(); });
  host.member("name", [&](const JSONPlace& at) { machine.hostName = at.text(); });
  host.member("addresses", [&](const JSONPlace& at) {
    machine.hostAddresses = elementsAt<std::string>(at, textAt);
  });
}

std::vector<Display> displaysAt(const JSONPlace& displays) {
  return elementsAt<Display>(displays, displayAt);
}

std::vector<RecordedVolume> volumesAt(const JSONPlace& volumes) {
  return elementsAt<RecordedVolume>(volumes, volumeAt);
}

std::vector<RunningApplication> applicationsAt(const JSONPlace& applications) {
  return elementsAt<RunningApplication>(applications, applicationAt);
}

}  // namespace kelvora::platform
