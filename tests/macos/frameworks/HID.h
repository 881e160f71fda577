#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "platforms/recorded/RecordedMachine.h"

namespace kelvora::testing::mac {

/// The services behind the doubles of the HID event system.
class HIDSystem {
 public:
  static HIDSystem& shared();

  /// None: the system has no services.
  void plugIn(std::optional<std::vector<platform::RecordedHIDService>> list) {
    services = std::move(list).value_or(std::vector<platform::RecordedHIDService>());
  }

  std::vector<platform::RecordedHIDService> services;
  /// Whether a client without services gets an empty list; else none.
  bool listsEmptyArrays = false;
};

}  // namespace kelvora::testing::mac
