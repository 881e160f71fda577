#pragma once

#include <string>
#include <vector>

#include "platforms/recorded/RecordedMachine.h"

namespace kelvora::testing::mac {

/// The computer as the kernel, Foundation, DiskArbitration and CoreGraphics show it.
class Host {
 public:
  static Host& shared();
  /// Becomes a recorded Mac.
  void boot(const platform::RecordedMachine& machine) { machine_ = machine; }
  const platform::RecordedMachine& machine() const { return machine_; }

 private:
  platform::RecordedMachine machine_;
};

/// A list of network interfaces as the kernel's routing control gives it, with messages of another
/// kind between them.
std::vector<std::byte> interfaceList(const std::vector<platform::InterfaceCounters>& interfaces);

}  // namespace kelvora::testing::mac
