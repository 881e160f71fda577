#include "fans/LeaseMachine.h"

#include "KelvoraCore/Platform.h"

#include "sysinfo/SystemControlValues.h"

namespace kelvora {

namespace {

constexpr char kRecorded[] = " (recorded)";

// A choice that cannot be read may be any.
bool mayBeChosen(const std::string& machine) {
  try {
    const auto choice = Platform::choice();
    return choice && choice->title + kRecorded == machine;
  } catch (const MachineFileError&) {
    return true;
  }
}

}  // namespace

std::string machineOf(Platform& platform) {
  return platform.isLive() ? sysctlNSStringForKey("hw.model", platform.systemControls())
                           : platform.title() + kRecorded;
}

LeaseMachine whereIs(Platform& platform, const std::string& machine) {
  const std::string own = machineOf(platform);
  // A Mac that cannot read its model at the moment forgets no lease.
  const bool isUnsure = own.empty() && platform.hasSensorHardware();
  if (machine.empty() || machine == own || (isUnsure && !machine.ends_with(kRecorded))) {
    return LeaseMachine::kThis;
  }
  const bool mayBeElsewhere =
      machine.ends_with(kRecorded) ? mayBeChosen(machine) : !platform.isLive();
  return mayBeElsewhere ? LeaseMachine::kAnother : LeaseMachine::kGone;
}

}  // namespace kelvora
