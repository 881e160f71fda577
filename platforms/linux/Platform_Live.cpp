#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "KelvoraCore/Platform.h"

#include "platforms/linux/bus/LinuxNotificationCentres.h"
#include "platforms/linux/processes/LinuxAuthorization.h"
#include "platforms/linux/processes/LinuxChildProcesses.h"
#include "platforms/linux/processes/LinuxWorkspace.h"
#include "platforms/linux/settings/LinuxUserDefaults.h"
#include "platforms/linux/smc/LinuxSMC.h"
#include "platforms/linux/system/LinuxFiles.h"
#include "platforms/linux/system/LinuxHostStatistics.h"
#include "platforms/linux/system/LinuxIORegistry.h"
#include "platforms/linux/system/LinuxMainBundle.h"
#include "platforms/linux/system/LinuxMainQueue.h"
#include "platforms/linux/system/LinuxSystemControls.h"
#include "platforms/linux/system/LinuxSystemFacts.h"
#include "platforms/recorded/RecordedHID.h"
#include "ports/Ports.h"

namespace kelvora::platform {

namespace {

#ifdef __aarch64__
constexpr Architecture kArchitecture = Architecture::kAppleSilicon;
#else
constexpr Architecture kArchitecture = Architecture::kIntel;
#endif

void addHardware(Ports& ports) {
  ports.smc = std::make_unique<LinuxSMC>();
  // Linux has no HID sensors.
  ports.hid = std::make_unique<RecordedHID>(std::nullopt);
  ports.registry = std::make_unique<LinuxIORegistry>();
}

// Where the product's applications are installed, and where they are carried.
std::vector<std::string> applicationFolders() {
  std::vector<std::string> folders;
  if (const auto support = LinuxFiles().applicationSupportFolder()) {
    folders.push_back(*support + "/Kelvora");
  }
  const std::filesystem::path executable(LinuxMainBundle().executablePath());
  folders.push_back(executable.parent_path().string());
  return folders;
}

void addSystem(Ports& ports) {
  ports.systemControls = std::make_unique<LinuxSystemControls>();
  ports.hostStatistics = std::make_unique<LinuxHostStatistics>();
  ports.systemFacts = std::make_unique<LinuxSystemFacts>();
  ports.childProcesses = std::make_unique<LinuxChildProcesses>();
  ports.workspace = std::make_unique<LinuxWorkspace>(applicationFolders());
  ports.authorization = std::make_unique<LinuxAuthorization>();
  ports.files = std::make_unique<LinuxFiles>();
}

void addProcess(Ports& ports) {
  ports.mainBundle = std::make_unique<LinuxMainBundle>();
  const auto scheme = std::make_shared<DesktopColourScheme>();
  ports.userDefaults =
      std::make_unique<LinuxUserDefaults>(LinuxUserDefaults::configurationFolder(), scheme);
  ports.mainQueue = std::make_unique<LinuxMainQueue>();
  ports.notificationCentres = std::make_unique<LinuxNotificationCentres>(*ports.mainQueue, scheme);
}

Ports livePorts() {
  Ports ports;
  addHardware(ports);
  addSystem(ports);
  addProcess(ports);
  return ports;
}

}  // namespace

}  // namespace kelvora::platform

namespace kelvora {

std::unique_ptr<Platform> Platform::live() {
  PlatformIdentity identity{"This computer", true, platform::kArchitecture};
  return std::make_unique<Platform>(std::move(identity), platform::livePorts());
}

}  // namespace kelvora
