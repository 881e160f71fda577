#pragma once

#include <memory>

#include "KelvoraCore/ZDSystemMonitor.h"

#include "tests/support/ForwardingPorts.h"
#include "tests/support/RecordedMachines.h"
#include "tests/support/SmallMac.h"

namespace kelvora::testing {

/// A Mac of which every figure can be replaced, e.g. `mac.statistics.onProcessorTicks`, before the
/// monitor is made.
struct MonitoredMac {
  explicit MonitoredMac(platform::RecordedMachine machine = {})
      : platform(recordedPlatform(std::move(machine))) {}

  std::unique_ptr<Platform> platform;
  ForwardingHostStatistics& statistics =
      wrapPort<ForwardingHostStatistics>(platform->ports().hostStatistics);
  ForwardingSystemControls& controls =
      wrapPort<ForwardingSystemControls>(platform->ports().systemControls);
  ForwardingIORegistry& registry = wrapPort<ForwardingIORegistry>(platform->ports().registry);
  ForwardingChildProcesses& children =
      wrapPort<ForwardingChildProcesses>(platform->ports().childProcesses);
};

}  // namespace kelvora::testing
