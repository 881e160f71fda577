#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "platform/Platform.h"
#include "platform/linux/LinuxAuthorization.h"
#include "platform/linux/LinuxChildProcesses.h"
#include "platform/linux/LinuxFiles.h"
#include "platform/linux/LinuxHostStatistics.h"
#include "platform/linux/LinuxMainBundle.h"
#include "platform/linux/LinuxMainQueue.h"
#include "platform/linux/LinuxNotificationCentres.h"
#include "platform/linux/LinuxSMC.h"
#include "platform/linux/LinuxSystemControls.h"
#include "platform/linux/LinuxSystemFacts.h"
#include "platform/linux/LinuxUserDefaults.h"
#include "platform/linux/LinuxWorkspace.h"
#include "platform/recorded/RecordedHID.h"
#include "platform/recorded/RecordedRegistry.h"

namespace kelvora::platform {

namespace {

#ifdef __aarch64__
constexpr Architecture kArchitecture = Architecture::kAppleSilicon;
#else
constexpr Architecture kArchitecture = Architecture::kIntel;
#endif

void addHardware(Ports& ports) {
  ports.smc = std::make_unique<LinuxSMC>();
  // Linux has neither: both answer like a recording of nothing.
  ports.hid = std::make_unique<RecordedHID>(std::nullopt);
  ports.registry = std::make_unique<RecordedRegistry>(std::nullopt);
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

}  // namespace

std::unique_ptr<Platform> makeLivePlatform() {
  Ports ports;
  addHardware(ports);
  addSystem(ports);
  addProcess(ports);
  PlatformIdentity identity{"This computer", true, kArchitecture};
  return std::make_unique<Platform>(std::move(identity), std::move(ports));
}

}  // namespace kelvora::platform
