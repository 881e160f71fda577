// Platform's recorded Mac that the account has chosen.

#include <cerrno>
#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>

#include <unistd.h>

#include "KelvoraCore/Platform.h"

#include "platforms/posix/FileLock.h"
#include "platforms/posix/NewFiles.h"
#include "platforms/recorded/ChoiceFile.h"
#include "platforms/recorded/ChosenMachine.h"
#include "platforms/recorded/OwnPrograms.h"
#include "platforms/recorded/RecordedMacs.h"
#include "platforms/recorded/RecordedPlatform.h"
#include "platforms/recorded/file/JSONFile.h"
#include "platforms/recorded/file/MachineFile.h"
#include "platforms/recorded/file/MachineFileParts.h"
#include "platforms/shared/TrustedEnvironment.h"
#include "ports/Ports.h"

namespace kelvora {

namespace {

using platform::ChoiceFile;
using platform::JSONPlace;

std::optional<std::string> supportFolder(Platform& host) {
  const auto folder = host.files().applicationSupportFolder();
  return folder ? std::optional(*folder + "/Kelvora") : std::nullopt;
}

std::optional<std::string> choicePath(Platform& host) {
  const auto folder = supportFolder(host);
  return folder ? std::optional(ChoiceFile::pathIn(*folder)) : std::nullopt;
}

// None in a program with raised rights, too.
std::optional<ChoiceFile> choiceOf(Platform& host) {
  const auto path = platform::hasRaisedRights() ? std::nullopt : choicePath(host);
  std::optional<ChoiceFile> file;
  if (path && ChoiceFile(*path).exists()) {
    file.emplace(*path);
  }
  return file;
}

platform::RecordedMachine machineIn(const JSONPlace& root) {
  platform::RecordedMachine machine;
  root.requiredMember("machine",
                      [&](const JSONPlace& place) { machine = platform::machineAt(place); });
  return machine;
}

std::unique_ptr<Platform> platformOf(ChoiceFile& choice, std::unique_ptr<Platform> host) {
  platform::RecordedMachine machine = machineIn(JSONPlace(choice.path(), choice.read()));
  machine.smcKeys.reset();
  auto smc = std::make_unique<platform::ChosenMachine>(choice.path());
  // Of a computer with fans of its own the privileged tool would write those.
  const bool startsPrograms = !host->hasSensorHardware();
  auto children = std::move(host->ports().childProcesses);
  auto result = platform::makeRecordedPlatform(std::move(machine), std::move(host));
  platform::Ports& ports = result->ports();
  ports.smc = std::move(smc);
  if (startsPrograms) {
    ports.childProcesses = std::make_unique<platform::OwnPrograms>(std::move(children),
                                                                   std::move(ports.childProcesses));
  }
  return result;
}

// A list of {"key", "bytes"}, as ChosenMachine writes it.
std::vector<RecordedWrite> writesAt(const JSONPlace& place) {
  std::vector<RecordedWrite> writes;
  place.eachElement([&](const JSONPlace& write) {
    RecordedWrite& added = writes.emplace_back();
    write.requiredMember("key", [&](const JSONPlace& key) { added.key = key.text(); });
    write.requiredMember("bytes", [&](const JSONPlace& bytes) { added.bytes = bytes.text(); });
  });
  return writes;
}

// The path to write to, in a folder that exists.
std::string newChoicePath(Platform& host) {
  const auto path = choicePath(host);
  if (!path) {
    throw MachineFileError("Machine.json", "", "this account has no support folder");
  }
  if (platform::hasRaisedRights()) {
    throw MachineFileError(*path, "", "is not for a program with raised rights");
  }
  if (!platform::createOwnedFolders(std::filesystem::path(*path).parent_path().string())) {
    throw MachineFileError(
        *path, "", "its folder cannot be created: " + std::generic_category().message(errno));
  }
  return *path;
}

nlohmann::json contentOf(const platform::NamedMachineFile& file) {
  nlohmann::json machine = platform::parsedJSON(platform::machineFileText(file.path), file.path);
  platform::machineAt(JSONPlace(file.path, machine));  // throws unless it can be used
  return {{"format", ChoiceFile::kFormat},
          {"version", 1},
          {"name", file.name},
          {"machine", std::move(machine)},
          {"writes", nlohmann::json::array()}};
}

}  // namespace

std::optional<std::string> Platform::choiceFile() { return choicePath(*live()); }

std::unique_ptr<Platform> Platform::chosen(std::unique_ptr<Platform> host) {
  if (host == nullptr) {
    host = live();
  }
  auto choice = choiceOf(*host);
  return choice ? platformOf(*choice, std::move(host)) : nullptr;
}

std::unique_ptr<Platform> Platform::liveOrChosen() {
  auto host = live();
  auto choice = choiceOf(*host);
  return !choice || host->hasSensorHardware() ? std::move(host)
                                              : platformOf(*choice, std::move(host));
}

std::optional<ChosenMac> Platform::choice() {
  auto choice = choiceOf(*live());
  if (!choice) {
    return std::nullopt;
  }
  const platform::ChosenMachine checked(choice->path());  // throws unless it can be used
  const JSONPlace root(choice->path(), choice->read());
  const platform::RecordedMachine machine = machineIn(root);
  ChosenMac chosen{choice->path(), "", machine.title, machine.notes, machine.architecture, {}};
  root.requiredMember("name", [&](const JSONPlace& name) { chosen.name = name.text(); });
  root.requiredMember("writes", [&](const JSONPlace& at) { chosen.writes = writesAt(at); });
  return chosen;
}

void Platform::choose(std::string_view machine) {
  const auto host = live();
  const auto content = contentOf(platform::machineFileOf(std::string(machine), *host));
  ChoiceFile choice(newChoicePath(*host));
  const platform::FileDescriptor lock = choice.lock();
  choice.write(content);
}

void Platform::chooseNone() {
  const auto choice = choiceOf(*live());
  if (choice) {
    choice->remove();
  }
}

}  // namespace kelvora
