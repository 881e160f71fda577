#include "sensors/FanWrites.h"

#include <bit>
#include <cmath>
#include <cstdio>
#include <string_view>

#include "hardware/FanKeys.h"

namespace kelvora {

namespace {

template <typename... Numbers>
std::string formatted(const char* format, Numbers... numbers) {
  char text[16];
  std::snprintf(text, sizeof text, format, numbers...);
  return text;
}

// 2000 is the float 0x44fa0000: "0000fa44".
std::string floatBytes(std::uint64_t speed) {
  const auto bits = std::bit_cast<std::uint32_t>(static_cast<float>(speed));
  return formatted("%02x%02x%02x%02x", bits & 0xff, bits >> 8 & 0xff, bits >> 16 & 0xff,
                   bits >> 24);
}

// 2000 with two fractional bits is 8000: "1f40".
std::string fixedPoint(std::uint64_t quarters) {
  return formatted("%0.4x", static_cast<std::uint32_t>(quarters));
}

std::string keyOf(std::uint64_t fan, std::string_view suffix) {
  return fanKey(static_cast<std::int64_t>(fan), suffix).value();
}

}  // namespace

std::vector<FanWrite> fanWrites(FanScheme scheme, std::uint64_t speed, std::uint64_t fan,
                                bool autoMode) {
  if (fan >= kFanCharacters.size()) {
    return {};
  }
  if (scheme == FanScheme::kMinimum) {
    return {{keyOf(fan, "Mn"), fixedPoint(speed * 4)}};
  }
  return {{keyOf(fan, "Md"), autoMode ? "00" : "01"}, {keyOf(fan, "Tg"), floatBytes(speed)}};
}

FanWrite handBackWrite(FanScheme scheme, double minimum, std::uint64_t fan) {
  return scheme == FanScheme::kModeAndTarget
             ? FanWrite{keyOf(fan, "Md"), "00"}
             : FanWrite{keyOf(fan, "Mn"),
                        fixedPoint(static_cast<std::uint64_t>(std::llround(minimum * 4)))};
}

}  // namespace kelvora
