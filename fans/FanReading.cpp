#include "fans/FanReading.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string>

#include "KelvoraCore/Platform.h"

#include "hardware/SMCConnection.h"

namespace kelvora {

namespace {

std::string hexadecimal(const SMCValueRecord& value) {
  std::string text;
  for (std::uint32_t i = 0; i < std::min<std::uint32_t>(value.dataSize, sizeof value.bytes); ++i) {
    std::array<char, 3> digits = {};
    std::snprintf(digits.data(), digits.size(), "%02x", static_cast<unsigned>(value.bytes[i]));
    text += digits.data();
  }
  return text;
}

}  // namespace

bool readsAs(Platform& platform, const FanWrite& write) {
  if (!platform.hasSensorHardware()) {
    return false;  // opening the SMC would print that there is none
  }
  SMCConnection connection(platform.smc());
  if (connection.open() != 0) {
    return false;
  }
  SMCValueRecord value;
  const auto status = connection.readKey(SMCPackedKey(write.key), value);
  connection.close();
  return status == platform::kKernelSuccess && hexadecimal(value) == write.value;
}

}  // namespace kelvora
