#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "KelvoraCore/Export.h"

namespace kelvora {

class KVSettings;

/// Texts and units of sensor values by category type (0 temperature, 1 fan, 2 voltage, 3 current,
/// 4 power). The user's unit and fan display are read from the settings on every call; the
/// operations without settings use the shared ones. The texts do not depend on a locale. Any
/// thread.
class KELVORA_EXPORT KVValueConverter {
 public:
  /// Number and unit without a blank: (45.5, 0) gives "46°C", (1200, 1) "1200rpm", (12.309, 2)
  /// "12.31V"; a value below 0 gives "-", for there is no reading. The value is taken as given:
  /// pass temperatures through `convertedTemp` first.
  static std::string fullStringFromValue(double value, std::uint32_t categoryType, bool shortForm);
  static std::string fullStringFromValue(double value, std::uint32_t categoryType, bool shortForm,
                                         KVSettings& settings);

  /// The number alone: whole for temperatures and revolutions, two fraction digits otherwise. With
  /// `fanValueType` 1 a fan's value is a fraction of its range: 0.756 gives "75", never rounded up.
  static std::string stringFromValue(double value, std::uint32_t categoryType);
  static std::string stringFromValue(double value, std::uint32_t categoryType,
                                     KVSettings& settings);

  /// "°C" or "°F", "%" or "rpm", "V", "A", "W"; in short form "°" and nothing for revolutions. None
  /// for other category types.
  static std::optional<std::string> unitStringFromCategoryType(std::uint32_t categoryType,
                                                               bool shortForm);
  static std::optional<std::string> unitStringFromCategoryType(std::uint32_t categoryType,
                                                               bool shortForm,
                                                               KVSettings& settings);

  /// Degrees Celsius in the user's unit: 45.5 stays 45.5, or gives 113.9 in Fahrenheit.
  static double convertedTemp(double celsius);
  static double convertedTemp(double celsius, KVSettings& settings);
};

}  // namespace kelvora
