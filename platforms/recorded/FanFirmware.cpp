#include "platforms/recorded/FanFirmware.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "KelvoraCore/SMCRecords.h"

namespace kelvora::platform {

namespace {

constexpr std::uint32_t kFloat = SMCPackedKey("flt ");
constexpr std::uint32_t kFixedPoint = SMCPackedKey("fpe2");
constexpr float kStepsOfFixedPoint = 4;
constexpr float kLargestWord = 0xffff;

bool isFloat(const RecordedSMCKey& key) {
  return key.type == kFloat && key.bytes.size() == sizeof(float);
}

bool isFixedPoint(const RecordedSMCKey& key) {
  return key.type == kFixedPoint && key.bytes.size() == sizeof(std::uint16_t);
}

}  // namespace

float actualFanSpeed(float recorded, const FanControls& controls) {
  const bool isFree = !controls.isManual || !controls.target;
  const float wanted = isFree ? recorded : *controls.target;
  const float limited = controls.maximum && !isFree ? std::min(wanted, *controls.maximum) : wanted;
  if (!controls.minimum) {
    return limited;
  }
  // No fan turns faster than it can, whatever minimum it was given.
  return std::max(limited,
                  std::min(*controls.minimum, controls.maximum.value_or(*controls.minimum)));
}

std::optional<float> fanSpeedIn(const RecordedSMCKey& key) {
  if (isFixedPoint(key)) {
    const auto word =
        std::to_integer<unsigned>(key.bytes[0]) << 8 | std::to_integer<unsigned>(key.bytes[1]);
    return static_cast<float>(word) / kStepsOfFixedPoint;
  }
  if (!isFloat(key)) {
    return std::nullopt;
  }
  float speed = 0;
  std::memcpy(&speed, key.bytes.data(), sizeof speed);
  return std::isfinite(speed) ? std::optional(speed) : std::nullopt;
}

void setFanSpeed(RecordedSMCKey& key, float speed) {
  if (isFloat(key)) {
    std::memcpy(key.bytes.data(), &speed, sizeof speed);
  } else if (isFixedPoint(key)) {
    const auto word = static_cast<unsigned>(
        std::lround(std::clamp(speed * kStepsOfFixedPoint, 0.0F, kLargestWord)));
    key.bytes = {static_cast<std::byte>(word >> 8), static_cast<std::byte>(word & 0xff)};
  }
}

}  // namespace kelvora::platform
