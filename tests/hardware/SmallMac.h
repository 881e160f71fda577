#pragma once

#include <cmath>
#include <string>
#include <vector>

#include "KelvoraCore/SMC.h"
#include "KelvoraCore/SMCWrapper.h"

#include "tests/hardware/SMCKeys.h"
#include "tests/support/ForwardingPorts.h"

namespace kelvora::testing {

/// A delegate that keeps the messages it receives.
class Messages : public SMCWrapperDelegate {
 public:
  void smcReadValueFailedWithError(const std::string& message) override { all.push_back(message); }
  std::vector<std::string> all;
};

/// A Mac with two fans, of which the second has a blank name, and some sensors.
inline std::vector<platform::RecordedSMCKey> smallMac() {
  return {
      smcKey("#KEY", "ui32", {0, 0, 0, 16}),
      smcKey("B0AV", "ui16", {0x2e, 0xe0}),
      smcKey("F0Ac", "fpe2", {0x1f, 0x40}),  // 2000
      smcKey("F0ID", "{fds", {0, 0, 0, 0, 'L', 'e', 'f', 't', ' ', ' ', 's', 'i', 'd', 'e', 0, 0}),
      smcKey("F0Mn", "fpe2", {0x12, 0xc0}),  // 1200
      smcKey("F0Mx", "fpe2", {0x5d, 0xc0}),  // 6000
      smcKey("F1Ac", "fpe2", {0x1f, 0x80}),  // 2016
      smcKey("F1ID", "{fds", {0, 0, ' ', ' '}),
      smcKey("F1Mn", "fpe2", {0x12, 0xc0}),
      smcKey("F1Mx", "fpe2", {0x5d, 0xc0}),
      smcKey("FNum", "ui8 ", {2}),
      smcKey("IC0C", "sp78", {0x01, 0x80}),
      smcKey("PC0C", "flt ", {0, 0, 0x20, 0x41}),
      smcKey("TC0P", "sp78", {0x28, 0x80}),
      smcKey("TX0x", "hex_", {1, 2}),
      smcKey("VC0C", "fp1f", {0x80, 0x00}),
  };
}

inline std::string described(const Sensor& sensor) {
  const auto number = [](double value) { return std::to_string(std::lround(value * 100)); };
  return sensor.key + "|" + sensor.name + "|" + sensor.fullName + "|" + number(sensor.value) + "|" +
         number(sensor.minLimitValue) + "|" + number(sensor.maxLimitValue) + "|" +
         std::to_string(sensor.type) + "|" + std::to_string(sensor.group) + "|" +
         std::to_string(sensor.platform) + "|" + std::to_string(sensor.sourceType) + "|" +
         (sensor.average ? "average" : "plain");
}

inline std::vector<std::string> described(const SensorList& sensors) {
  std::vector<std::string> texts;
  for (const SensorPtr& sensor : sensors) {
    texts.push_back(described(*sensor));
  }
  return texts;
}

/// "9 TC0P", "8 #3", … for each call.
inline std::vector<std::string> calls(const ForwardingSMC& smc) {
  std::vector<std::string> texts;
  for (const SMCCallRecord& call : smc.calls()) {
    char key[5];
    SMCConvertNumberToString(key, call.key);
    texts.push_back(std::to_string(call.command) + " " +
                    (call.command == 8 ? "#" + std::to_string(call.data32) : key));
  }
  return texts;
}

}  // namespace kelvora::testing
