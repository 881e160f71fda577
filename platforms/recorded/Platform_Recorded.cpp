// Platform's recorded Macs.

#include <utility>

#include "KelvoraCore/Platform.h"

#include "base/Log.h"
#include "platforms/recorded/RecordedMacs.h"
#include "platforms/recorded/RecordedPlatform.h"
#include "platforms/recorded/file/MachineFile.h"
#include "platforms/shared/TrustedEnvironment.h"
#include "ports/Ports.h"

namespace kelvora {

namespace {

constexpr char kVariable[] = "KELVORA_MACHINE";

std::string_view textOf(std::span<const std::byte> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

}  // namespace

std::unique_ptr<Platform> Platform::recorded(std::string_view machine,
                                             std::unique_ptr<Platform> host) {
  if (host == nullptr) {
    host = live();
  }
  const auto file = platform::machineFileOf(std::string(machine), *host);
  return recordedFromFile(file.path, std::move(host));
}

std::unique_ptr<Platform> Platform::recordedFromFile(const std::string& path,
                                                     std::unique_ptr<Platform> host) {
  return platform::makeRecordedPlatform(platform::readMachineFile(path), std::move(host));
}

std::unique_ptr<Platform> Platform::recordedFromBytes(std::span<const std::byte> bytes,
                                                      const std::string& name,
                                                      std::unique_ptr<Platform> host) {
  return platform::makeRecordedPlatform(platform::parseMachine(textOf(bytes), name),
                                        std::move(host));
}

std::vector<RecordedMac> Platform::recordedMacs() {
  std::vector<RecordedMac> macs;
  for (platform::NamedMachineFile& file : platform::machineFiles(*live())) {
    platform::RecordedMachine machine = platform::readMachineFile(file.path);
    macs.push_back({std::move(file.name), std::move(file.path), std::move(machine.title),
                    std::move(machine.notes), machine.architecture});
  }
  return macs;
}

std::unique_ptr<Platform> Platform::fromEnvironment() {
  const auto machine = platform::trustedEnvironmentText(kVariable);
  if (!machine || machine->empty()) {
    return nullptr;
  }
  try {
    return recorded(*machine);
  } catch (const MachineFileError& error) {
    throw MachineFileError(std::string(kVariable) + ": " + error.file(), error.place(),
                           error.fault());
  }
}

std::unique_ptr<Platform> Platform::initial() {
  try {
    auto named = fromEnvironment();
    return named ? std::move(named) : liveOrChosen();
  } catch (const MachineFileError& error) {
    log(error.what());
    // A reading of this computer would pass for one of the machine that was asked for.
    platform::RecordedMachine nothing;
    nothing.title = error.what();
    return platform::makeRecordedPlatform(std::move(nothing));
  }
}

}  // namespace kelvora
