#pragma once

#include <cmath>
#include <vector>

#include "tests/tools/RecordedHistory.h"

namespace kelvora::testing {

inline constexpr int kHour = 0;
inline constexpr int kDay = 1;
inline constexpr int kWeek = 2;
inline constexpr double kMinute = 60;
inline constexpr double kHourSeconds = 3600;
inline constexpr double kDaySeconds = 86400;
inline constexpr double kWeekSeconds = 604800;

inline ModelSMC::Curve constant(double value) {
  return [value](double) { return value; };
}

// As a "flt " of the SMC holds it.
inline double asFloat(double value) { return static_cast<double>(static_cast<float>(value)); }

inline double processor(double seconds) { return asFloat(60 + 30 * std::sin(seconds / 5000)); }
inline double fan(double seconds) { return asFloat(std::fmod(seconds, 5000)); }

inline ModelSMC::Curves smallMac() {
  return {{"TC0P", processor},      {"TG0P", constant(45.5)}, {"VC0C", constant(1.25)},
          {"IC0C", constant(12)},   {"PC0C", constant(15)},   {"F0Ac", fan},
          {"F0Mn", constant(1200)}, {"F0Mx", constant(6000)}, {"TXyz", constant(30)}};
}

inline std::vector<platform::RecordedSMCKey> oneFan() { return {smcKey("FNum", "ui8 ", {1})}; }

class Recorder : public RecordedHistory {
 protected:
  Recorder() { useMac(smallMac(), oneFan()); }
};

}  // namespace kelvora::testing
