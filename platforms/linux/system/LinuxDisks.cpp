#include "platforms/linux/system/LinuxDisks.h"

#include <algorithm>
#include <filesystem>

#include "platforms/linux/system/LinuxFiles.h"
#include "platforms/linux/system/ProcText.h"
#include "platforms/linux/system/TextFile.h"
#include "platforms/linux/system/WholeNumber.h"

namespace kelvora::platform {

namespace {

namespace fs = std::filesystem;

constexpr std::int64_t kSectorBytes = 512;  // of the kernel's size files, whatever the disk's own

std::vector<Mount> mounts(const std::string& root) {
  return mountsOf(readFile(root + "/proc/mounts").value_or(""));
}

// Packaged programs mount their images by the dozen; they are no volumes of the user's.
bool isVolume(const std::string& root, const Mount& mount) {
  std::error_code error;
  return mount.device.starts_with("/dev/") && !mount.device.starts_with("/dev/loop") &&
         fs::is_directory(root + mount.path, error);
}

// The kernel's folder of a block device; a name like "/dev/mapper/root" leads to its real one.
fs::path blockFolder(const std::string& root, const std::string& device) {
  std::error_code error;
  fs::path real = fs::canonical(root + device, error);
  if (error) {
    real = device;
  }
  fs::path folder = fs::canonical(root + "/sys/class/block/" + real.filename().string(), error);
  // A mapped device is made of others; the first one's disk counts.
  for (int depth = 0; !error && depth < 8; ++depth) {
    const auto below = LinuxFiles().list((folder / "slaves").string());
    if (!below || below->empty()) {
      return folder;
    }
    folder = fs::canonical(folder / "slaves" / below->front(), error);
  }
  return error ? fs::path() : folder;
}

std::optional<std::string> filled(std::optional<std::string> text) {
  if (text && text->empty()) {
    return std::nullopt;
  }
  return text;
}

std::optional<std::string> partitionName(const fs::path& folder) {
  const auto values = assignmentsOf(readFile((folder / "uevent").string()).value_or(""));
  const auto name = values.find("PARTNAME");
  if (name == values.end()) {
    return std::nullopt;
  }
  return filled(name->second);
}

// "card0-eDP-1": the panel of a portable or an all-in-one computer.
bool isBuiltInConnector(const std::string& name) {
  return name.find("-eDP-") != std::string::npos || name.find("-LVDS-") != std::string::npos ||
         name.find("-DSI-") != std::string::npos;
}

// The first mode is the preferred one, e.g. "1920x1080".
std::optional<Display> displayOf(const std::string& folder, const std::string& name) {
  if (readLine(folder + "/" + name + "/status") != "connected") {
    return std::nullopt;
  }
  const std::string mode = readLine(folder + "/" + name + "/modes").value_or("");
  const std::size_t separator = std::min(mode.find('x'), mode.size());
  Display display;
  display.builtIn = isBuiltInConnector(name);
  display.width = static_cast<double>(numberOf(mode.substr(0, separator)));
  display.height = static_cast<double>(numberOf(mode.substr(std::min(separator + 1, mode.size()))));
  return display;
}

}  // namespace

std::vector<std::string> mountedVolumes(const std::string& root) {
  std::vector<std::string> paths = {"/"};
  for (const Mount& mount : mounts(root)) {
    const bool isListed = std::find(paths.begin(), paths.end(), mount.path) != paths.end();
    if (!isListed && isVolume(root, mount)) {
      paths.push_back(mount.path);
    }
  }
  return paths;
}

std::optional<DiskDescription> describedDisk(const std::string& root, std::string_view path) {
  // The last mount at a path hides the earlier ones.
  std::string device;
  for (const Mount& mount : mounts(root)) {
    if (mount.path == path) {
      device = mount.device;
    }
  }
  if (!device.starts_with("/dev/")) {
    return std::nullopt;
  }
  const fs::path folder = blockFolder(root, device);
  if (folder.empty()) {
    return std::nullopt;
  }
  std::error_code error;
  const fs::path disk = fs::exists(folder / "partition", error) ? folder.parent_path() : folder;
  DiskDescription description;
  description.mediaName = partitionName(folder);
  description.deviceModel = filled(readLine((disk / "device/model").string()));
  if (const auto size = readLine((folder / "size").string())) {
    description.mediaSizeBytes = numberOf(size) * kSectorBytes;
  }
  description.mediaRemovable = readLine((disk / "removable").string()) == "1";
  return description;
}

std::vector<Display> connectedDisplays(const std::string& root) {
  const std::string folder = root + "/sys/class/drm";
  std::vector<Display> displays;
  for (const std::string& name : LinuxFiles().list(folder).value_or(std::vector<std::string>{})) {
    if (const auto display = displayOf(folder, name)) {
      displays.push_back(*display);
    }
  }
  std::stable_partition(displays.begin(), displays.end(),
                        [](const Display& display) { return display.builtIn; });
  displays.resize(std::min(displays.size(), kMostDisplays));
  return displays;
}

}  // namespace kelvora::platform
