#pragma once

#include <string>
#include <vector>

#include "tests/macos/frameworks/Bundles.h"
#include "tests/macos/frameworks/Cocoa.h"
#include "tests/macos/frameworks/Dispatch.h"
#include "tests/macos/frameworks/Host.h"
#include "tests/macos/frameworks/MacTest.h"
#include "tests/macos/frameworks/NotificationCenters.h"
#include "tests/macos/frameworks/Preferences.h"

namespace kelvora::testing::mac {

/// A test of a Mac's system, at first a host without any facts.
class SystemTest : public MacTest {
 protected:
  SystemTest() {
    Host::shared().boot({});
    Bundles::shared().reset();
    Cocoa::shared().reset();
    Preferences::shared().reset();
    NotificationCenters::shared().reset();
  }
  /// What still waits on the main queue holds memory.
  void TearDown() override {
    Dispatch::shared().drainMainQueue();
    MacTest::TearDown();
  }
  /// The recorded calls so far, oldest first; they are forgotten.
  std::vector<std::string> takeCalls() {
    auto calls = ledger.calls();
    ledger.forgetCalls();
    return calls;
  }
};

using Calls = std::vector<std::string>;

}  // namespace kelvora::testing::mac
