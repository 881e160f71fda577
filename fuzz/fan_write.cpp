// Any bytes as the command line of the privileged tool, its arguments ended by NUL: whatever
// reaches the SMC is a fan's mode, target or minimum, of the key's size and within the fan's
// limits.
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "platforms/recorded/RecordedSMC.h"
#include "tests/support/SmallMac.h"
#include "tools/smc/Failure.h"
#include "tools/smc/FanWriter.h"

namespace {

using kelvora::SMCPackedKey;
using kelvora::testing::smcKey;

constexpr float kLeast = 1200;
constexpr float kMost = 6000;

// Fan 0 in floats, fan 1 in fixed point.
std::vector<kelvora::platform::RecordedSMCKey> keys() {
  return {smcKey("F0Md", "ui8 ", {0}),
          smcKey("F0Tg", "flt ", {0, 0, 0x96, 0x44}),
          smcKey("F0Mn", "flt ", {0, 0, 0x96, 0x44}),
          smcKey("F0Mx", "flt ", {0, 0x80, 0xbb, 0x45}),
          smcKey("F1Tg", "fpe2", {0x12, 0xc0}),
          smcKey("F1Mn", "fpe2", {0x12, 0xc0}),
          smcKey("F1Mx", "fpe2", {0x5d, 0xc0}),
          smcKey("TC0P", "sp78", {0, 0})};
}

std::vector<std::string> argumentsOf(std::string_view text) {
  std::vector<std::string> arguments(1);
  for (const char c : text) {
    if (c == '\0') {
      arguments.emplace_back();
    } else {
      arguments.back() += c;
    }
  }
  return arguments;
}

float speedOf(const std::vector<std::byte>& bytes) {
  if (bytes.size() == 2) {
    return static_cast<float>(std::to_integer<int>(bytes[0]) << 8 |
                              std::to_integer<int>(bytes[1])) /
           4;
  }
  float speed = 0;
  std::memcpy(&speed, bytes.data(), sizeof speed);
  return speed;
}

bool mayBeWritten(const kelvora::platform::SMCWrite& write) {
  switch (write.key) {
    case SMCPackedKey("F0Md"):
      return write.bytes.size() == 1 && write.bytes[0] <= std::byte{1};
    case SMCPackedKey("F0Tg"):
    case SMCPackedKey("F1Tg"):
      return speedOf(write.bytes) >= kLeast && speedOf(write.bytes) <= kMost;
    case SMCPackedKey("F0Mn"):
    case SMCPackedKey("F1Mn"):
      return speedOf(write.bytes) >= 0 && speedOf(write.bytes) <= kMost;
    default:
      return false;
  }
}

void run(const std::vector<const char*>& arguments, kelvora::platform::RecordedSMC& smc) {
  try {
    const auto request = kelvora::tool::parsedRequest(arguments);
    kelvora::tool::FanWriter writer(smc);
    writer.open(request.key);
    writer.write(request);
    if (smc.writes().size() != 1) {
      std::abort();
    }
  } catch (const kelvora::tool::Failure& failure) {
    if (!smc.writes().empty() || std::strpbrk(failure.what(), "\n\033") != nullptr) {
      std::abort();
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto texts = argumentsOf(std::string(data, data + size));
  std::vector<const char*> arguments = {"Kelvora SMC"};
  for (const std::string& text : texts) {
    arguments.push_back(text.c_str());
  }
  kelvora::platform::RecordedSMC smc(keys());
  run(arguments, smc);
  for (const auto& write : smc.writes()) {
    if (!mayBeWritten(write)) {
      std::abort();
    }
  }
  return 0;
}
