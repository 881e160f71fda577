#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "KelvoraCore/Export.h"
#include "KelvoraCore/Platform.h"

namespace kelvora {

/// Which of the platform's RGB spaces a colour's components are in.
enum class KVColorSpace : std::uint8_t { kStandardRGB, kCalibratedRGB };

/// A colour; each component is 0 to 1. Any thread.
struct KELVORA_EXPORT KVColor {
  double red = 0;
  double green = 0;
  double blue = 0;
  double alpha = 1;
  KVColorSpace space = KVColorSpace::kStandardRGB;

  friend bool operator==(const KVColor&, const KVColor&) = default;

  /// The opaque colour of a hexadecimal number, in the calibrated space: "FF9500" and " 0xff9500"
  /// give 255, 149, 0. Reading stops at the first character that is not a digit, so "#FF9500" and
  /// the empty text give black; a number above 32 bits gives white.
  static KVColor colorWithHexString(std::optional<std::string_view> text);

  /// `darkStyleColor` while the system is dark, else `light`; ask again after a theme change.
  static KVColor colorFromLightStyleColor(const KVColor& light, const KVColor& darkStyleColor,
                                          Platform& platform = Platform::current());

  static KVColor appLightBlueColor();  ///< 0B96F6
  static KVColor appBlueColor();       ///< 0B82FA
  static KVColor appGreenColor();      ///< 46D875
  static KVColor appOrangeColor();     ///< FF9500
  static KVColor appRedColor();        ///< FF3B30
  /// FFFFFF, or 1E1E1E while the system is dark.
  static KVColor appBoxBackgroundColor(Platform& platform = Platform::current());
};

}  // namespace kelvora
