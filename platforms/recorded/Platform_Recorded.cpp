// Platform's recorded Macs.

#include <algorithm>
#include <optional>
#include <utility>

#include "KelvoraCore/Platform.h"

#include "base/Log.h"
#include "platforms/recorded/RecordedPlatform.h"
#include "platforms/recorded/file/MachineFile.h"
#include "platforms/shared/TrustedEnvironment.h"
#include "ports/Ports.h"

namespace kelvora {

namespace {

constexpr char kVariable[] = "KELVORA_MACHINE";
constexpr char kMachinesFolder[] = "machines";
constexpr std::string_view kMachineExtension = ".json";

struct NamedFile {
  std::string name;
  std::string path;
};

std::vector<NamedFile> machineFiles(Platform& host) {
  std::vector<NamedFile> files;
  const auto folder = host.mainBundle().resourcePath(kMachinesFolder, "");
  const auto entries = folder ? host.files().list(*folder) : std::nullopt;
  for (const std::string& entry : entries.value_or(std::vector<std::string>())) {
    if (entry.ends_with(kMachineExtension)) {
      files.push_back({entry.substr(0, entry.size() - kMachineExtension.size()),
                       std::string(*folder).append("/").append(entry)});
    }
  }
  std::ranges::sort(files, {}, &NamedFile::name);
  return files;
}

char lowerCase(char letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

bool isSameName(std::string_view one, std::string_view other) {
  return std::ranges::equal(one, other, {}, lowerCase, lowerCase);
}

std::string joined(const std::vector<std::string>& texts) {
  std::string result;
  for (const std::string& text : texts) {
    result += (result.empty() ? "" : ", ") + text;
  }
  return result;
}

// Why a text names no machine: a user without any recorded Macs learns where they are looked for.
std::string faultOfName(Platform& host, bool hasMachines) {
  const std::string fault = "neither a file nor a recorded Mac";
  return hasMachines ? fault + " ('kelvora machines' lists them)"
                     : fault + " (no folder 'machines' in " +
                           joined(host.mainBundle().resourceFolders()) + ")";
}

std::string pathOf(const std::string& machine, Platform& host) {
  const std::vector<NamedFile> files = machineFiles(host);
  const auto found = std::ranges::find_if(
      files, [&](const NamedFile& file) { return isSameName(file.name, machine); });
  if (found != files.end()) {
    return found->path;
  }
  if (!host.files().exists(machine)) {
    throw MachineFileError(machine, "", faultOfName(host, !files.empty()));
  }
  return machine;
}

std::string_view textOf(std::span<const std::byte> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

}  // namespace

std::unique_ptr<Platform> Platform::recorded(std::string_view machine,
                                             std::unique_ptr<Platform> host) {
  if (host == nullptr) {
    host = live();
  }
  const std::string path = pathOf(std::string(machine), *host);
  return recordedFromFile(path, std::move(host));
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
  for (NamedFile& file : machineFiles(*live())) {
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
    auto chosen = fromEnvironment();
    return chosen ? std::move(chosen) : live();
  } catch (const MachineFileError& error) {
    log(error.what());
    // A reading of this computer would pass for one of the machine that was asked for.
    platform::RecordedMachine nothing;
    nothing.title = error.what();
    return platform::makeRecordedPlatform(std::move(nothing));
  }
}

}  // namespace kelvora
