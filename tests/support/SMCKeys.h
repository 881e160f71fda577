#pragma once

#include <cstddef>
#include <initializer_list>
#include <string_view>

#include "KelvoraCore/SMCRecords.h"

#include "platforms/recorded/RecordedMachine.h"

namespace kelvora::testing {

/// A key of a recorded SMC, readable and without attributes.
inline platform::RecordedSMCKey smcKey(std::string_view key, std::string_view type,
                                       std::initializer_list<int> bytes) {
  platform::RecordedSMCKey result;
  result.key = SMCPackedKey(key);
  result.type = SMCPackedKey(type);
  for (const int byte : bytes) {
    result.bytes.push_back(static_cast<std::byte>(byte));
  }
  return result;
}

}  // namespace kelvora::testing
