#pragma once

#include <string>
#include <vector>

#include "tests/macos/frameworks/HID.h"
#include "tests/macos/frameworks/IOKit.h"
#include "tests/macos/frameworks/MacTest.h"

namespace kelvora::testing::mac {

/// A test of a Mac's hardware, at first without any.
class HardwareTest : public MacTest {
 protected:
  HardwareTest() { boot({}); }
  /// Gives the Mac the hardware of a machine.
  static void boot(const platform::RecordedMachine& machine) {
    Kernel::shared().boot(machine);
    HIDSystem::shared().plugIn(machine.hid);
  }
  /// The recorded calls so far, oldest first; they are forgotten.
  std::vector<std::string> takeCalls() {
    auto calls = ledger.calls();
    ledger.forgetCalls();
    return calls;
  }
};

/// "MacBookPro15,1" as the name of a test.
inline std::string nameOfMachine(const ::testing::TestParamInfo<const char*>& info) {
  std::string name = info.param;
  std::erase(name, ',');
  return name;
}

}  // namespace kelvora::testing::mac
