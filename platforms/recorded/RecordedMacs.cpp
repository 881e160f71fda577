#include "platforms/recorded/RecordedMacs.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <string_view>

#include "ports/Ports.h"

namespace kelvora::platform {

namespace {

constexpr char kMachinesFolder[] = "machines";
constexpr std::string_view kMachineExtension = ".json";

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

}  // namespace

std::vector<NamedMachineFile> machineFiles(Platform& host) {
  std::vector<NamedMachineFile> files;
  const auto folder = host.mainBundle().resourcePath(kMachinesFolder, "");
  const auto entries = folder ? host.files().list(*folder) : std::nullopt;
  for (const std::string& entry : entries.value_or(std::vector<std::string>())) {
    if (entry.ends_with(kMachineExtension)) {
      files.push_back({entry.substr(0, entry.size() - kMachineExtension.size()),
                       std::string(*folder).append("/").append(entry)});
    }
  }
  std::ranges::sort(files, {}, &NamedMachineFile::name);
  return files;
}

NamedMachineFile machineFileOf(const std::string& machine, Platform& host) {
  const std::vector<NamedMachineFile> files = machineFiles(host);
  const auto found = std::ranges::find_if(
      files, [&](const NamedMachineFile& file) { return isSameName(file.name, machine); });
  if (found != files.end()) {
    return *found;
  }
  if (!host.files().exists(machine)) {
    throw MachineFileError(machine, "", faultOfName(host, !files.empty()));
  }
  return {std::filesystem::absolute(machine).string(), machine};
}

}  // namespace kelvora::platform
