#include "KelvoraCore/KVColor.h"

#include <charconv>
#include <limits>
#include <system_error>

#include "KelvoraCore/KVThemeManager.h"

#include "base/Blanks.h"

namespace kelvora {

namespace {

constexpr KVColor colorOf(std::uint32_t rgb, KVColorSpace space = KVColorSpace::kStandardRGB) {
  const auto component = [rgb](unsigned shift) { return (rgb >> shift & 0xFFU) / 255.0; };
  return {component(16), component(8), component(0), 1.0, space};
}

std::uint32_t scannedHex(std::string_view text) {
  text = trimmedOfBlanksAndLineEnds(text);
  if (text.starts_with("0x") || text.starts_with("0X")) {
    text.remove_prefix(2);
  }
  std::uint32_t number = 0;
  const auto end = std::from_chars(text.data(), text.data() + text.size(), number, 16);
  return end.ec == std::errc::result_out_of_range ? std::numeric_limits<std::uint32_t>::max()
                                                  : number;
}

}  // namespace

KVColor KVColor::colorWithHexString(std::optional<std::string_view> text) {
  return colorOf(text ? scannedHex(*text) : 0, KVColorSpace::kCalibratedRGB);
}

KVColor KVColor::colorFromLightStyleColor(const KVColor& light, const KVColor& darkStyleColor,
                                          Platform& platform) {
  return KVThemeManager::isDarkMode(platform) ? darkStyleColor : light;
}

KVColor KVColor::appLightBlueColor() { return colorOf(0x0B96F6); }
KVColor KVColor::appBlueColor() { return colorOf(0x0B82FA); }
KVColor KVColor::appGreenColor() { return colorOf(0x46D875); }
KVColor KVColor::appOrangeColor() { return colorOf(0xFF9500); }
KVColor KVColor::appRedColor() { return colorOf(0xFF3B30); }

KVColor KVColor::appBoxBackgroundColor(Platform& platform) {
  return colorFromLightStyleColor(colorOf(0xFFFFFF), colorOf(0x1E1E1E), platform);
}

}  // namespace kelvora
