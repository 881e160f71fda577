#pragma once

#include <memory>

#include <gtest/gtest.h>

#include "platforms/recorded/RecordedMachine.h"
#include "ports/Ports.h"
#include "tests/support/TemporaryFolder.h"

namespace kelvora::testing {

/// A test that every implementation of a port has to pass. A program of tests defines the functions
/// for its own implementations: a recorded Mac's hardware in the system of this computer, or those
/// of a live Mac over doubles of the frameworks.
class PortsTest : public ::testing::Test {
 protected:
  PortsTest();
  ~PortsTest() override;
  void TearDown() override;

  /// Makes `ports` those of a Mac with this hardware. What came from the ports before has to be
  /// gone.
  void boot(const platform::RecordedMachine& machine);
  /// Runs what is queued on the main queue, and delivers what was posted to all programs.
  void runMainQueue();

  const TemporaryFolder folder;
  /// All that do not launch programs. The settings are empty at first, and their files are in
  /// `folder`.
  platform::Ports ports;
};

}  // namespace kelvora::testing
