#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "KelvoraCore/Export.h"
#include "KelvoraCore/KVSettings.h"

namespace kelvora {

/// Texts and units of sensor values by category type (0 temperature, 1 fan, 2 voltage, 3 current,
/// 4 power). Each call reads the user's unit and fan display from the settings; pass a
/// KVSettingsSnapshot to read them once for many values. The texts do not depend on a locale. Any
/// thread.
class KELVORA_EXPORT KVValueConverter {
 public:
  /// Number and unit without a blank: (45.5, 0) gives "46°C", (1200, 1) "1200rpm", (12.309, 2)
  /// "12.31V"; a value below 0 means that there is no reading and gives "-". Temperatures are not
  /// converted: pass them through `convertedTemp` first.
  static std::string fullStringFromValue(double value, std::uint32_t categoryType, bool shortForm,
                                         KVSettings& settings = KVSettings::shared());

  /// The number alone: whole for temperatures and revolutions, two fraction digits otherwise. With
  /// `fanValueType` 1 a fan's value is a fraction of its range: 0.756 gives "75", never rounded up.
  static std::string stringFromValue(double value, std::uint32_t categoryType,
                                     KVSettings& settings = KVSettings::shared());

  /// "°C" or "°F", "%" or "rpm", "V", "A", "W"; in short form "°" and nothing for revolutions. None
  /// for other category types.
  static std::optional<std::string> unitStringFromCategoryType(
      std::uint32_t categoryType, bool shortForm, KVSettings& settings = KVSettings::shared());

  /// Degrees Celsius in the user's unit: 45.5 stays 45.5, or gives 113.9 in Fahrenheit.
  static double convertedTemp(double celsius, KVSettings& settings = KVSettings::shared());
};

}  // namespace kelvora
