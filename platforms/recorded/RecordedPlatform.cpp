#include "platforms/recorded/RecordedPlatform.h"

#include <utility>

#include "platforms/recorded/RecordedHID.h"
#include "platforms/recorded/RecordedRegistry.h"
#include "platforms/recorded/RecordedSMC.h"
#include "platforms/recorded/RecordedSystem.h"
#include "platforms/shared/SystemControlTable.h"

namespace kelvora::platform {

std::unique_ptr<Platform> makeRecordedPlatform(RecordedMachine machine,
                                               std::unique_ptr<Platform> host) {
  Ports ports = std::move((host ? std::move(host) : Platform::live())->ports());
  PlatformIdentity identity{machine.title, false, machine.architecture};
  ports.systemFacts = std::make_unique<RecordedSystemFacts>(machine);
  ports.smc = std::make_unique<RecordedSMC>(std::move(machine.smcKeys));
  ports.hid = std::make_unique<RecordedHID>(std::move(machine.hid));
  ports.registry = std::make_unique<RecordedRegistry>(std::move(machine.registry));
  ports.systemControls = std::make_unique<SystemControlTable>(
      std::move(machine.sysctl), interfaceListBytes(machine.statistics.interfaces));
  ports.hostStatistics = std::make_unique<RecordedHostStatistics>(std::move(machine.statistics));
  ports.childProcesses = std::make_unique<RecordedChildProcesses>(std::move(machine.commands));
  ports.workspace = std::make_unique<RecordedWorkspace>(std::move(machine.applications));
  ports.authorization = std::make_unique<RefusingAuthorization>();
  return std::make_unique<Platform>(std::move(identity), std::move(ports));
}

}  // namespace kelvora::platform
