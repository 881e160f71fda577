#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "KelvoraCore/Export.h"
#include "KelvoraCore/KVManagedObject.h"
#include "KelvoraCore/KVSensorStatus.h"
#include "KelvoraCore/Sensor.h"

namespace kelvora {

class KVCategory;
using KVCategoryPtr = std::shared_ptr<KVCategory>;
class KVGraphPoint;
using KVGraphPointPtr = std::shared_ptr<KVGraphPoint>;
class KVSettings;
namespace KVLocalized {
class Texts;
}  // namespace KVLocalized

/// A stored sensor: its names, its limits, its last value and its history, and everything that a
/// screen shows about it. Ownership and threads as of ManagedObject. Numbers that were never set
/// are 0 unless said otherwise, texts empty.
///
/// What is shown is computed on each call from the stored values, the type of the category, and the
/// settings or the language of the store. Functions that need those exist twice: the second form
/// takes a KVSettingsSnapshot or a KVLocalized::Texts, so that a refresh reads settings and texts
/// once for all sensors. A sensor without a category is like one of a category of unknown type.
class KELVORA_EXPORT KVSensor : public KVManagedObject {
 public:
  using KVManagedObject::KVManagedObject;
  static constexpr const char* kEntityName = "Sensor";
  /// The attributes by name, as the model has them.
  static const std::vector<std::string>& attributeNames();

  /// SMC key ("TC0P"), HID product name or computed key ("AverageCPU"); identifies the sensor by
  /// convention.
  std::string key() const;
  void setKey(std::string value);

  /// Short display name, e.g. "CPU Proximity".
  std::string name() const;
  void setName(std::string value);

  /// Long display name.
  std::string fullName() const;
  void setFullName(std::string value);

  /// Last value in the unit of its type: degrees Celsius, rpm, volts, amperes or watts.
  double value() const;
  void setValue(double value);

  /// Lower limit of its range, in the same unit.
  double minValue() const;
  void setMinValue(double value);

  /// Upper limit of its range, in the same unit.
  double maxValue() const;
  void setMaxValue(double value);

  /// What the two extremes are while nothing was recorded.
  static constexpr double kNothingRecorded = -1;

  /// Lowest value recorded; `kNothingRecorded` when nothing was.
  double recordedMinValue() const;
  void setRecordedMinValue(double value);

  /// Highest value recorded; `kNothingRecorded` when nothing was.
  double recordedMaxValue() const;
  void setRecordedMaxValue(double value);

  /// A SensorGroup.
  std::int16_t group() const;
  void setGroup(std::int16_t value);

  /// A SensorSourceType.
  std::int16_t sourceType() const;
  void setSourceType(std::int16_t value);

  /// A mask of SensorPlatform bits.
  std::int16_t platform() const;
  void setPlatform(std::int16_t value);

  /// Whether it counts toward the CPU or GPU average.
  bool average() const;
  void setAverage(bool value);

  /// Whether the user added it.
  bool isCustom() const;
  void setIsCustom(bool value);

  /// Null when it has none. Setting another category makes the sensor the last of that category.
  KVCategoryPtr category() const;
  void setCategory(const KVCategoryPtr& object);

  /// Its history in stored order. Deleting the sensor deletes the points.
  std::vector<KVGraphPointPtr> graphPoints() const;
  void setGraphPoints(const std::vector<KVGraphPointPtr>& objects);

  /// Appends a point. The cost does not grow with the length of the history.
  void addToGraphPoints(const KVGraphPointPtr& object);
  /// The point itself stays in the store, without a sensor.
  void removeFromGraphPoints(const KVGraphPointPtr& object);
  /// Inserts or moves a point so that it then has this index, at most the count of the others.
  void insertIntoGraphPoints(const KVGraphPointPtr& object, std::size_t index);

  /// The type of its category, e.g. 1 for a fan; `kNoCategoryType` without a category.
  std::uint32_t categoryType() const;
  static constexpr std::uint32_t kNoCategoryType = 0xFFFFFFFF;

  /// Whether the key is "TC0P", a temperature with a threshold of its own.
  bool isCPUProximitySensor() const;
  /// Whether no catalogue entry names it: key, name and full name are the same, and it has no
  /// group.
  bool isUnknownSensor() const;

  // Status (KVSensor_Status.cpp).

  /// The health by the last value, from the stored numbers alone. A temperature is high from 90 °C
  /// (66 °C for "TC0P") and very high from 100 °C; at -124 and below it is a code of the SMC. A fan
  /// is high from 75 % and very high from 90 % of the way from its lower limit across its range.
  /// Any other sensor is ok or an error below 0; one of the user's is ok above 0 and else without
  /// status. A temperature that is not a number is high.
  KVSensorStatus statusEnum() const;
  /// A normal temperature or speed, and for any other sensor the status ok.
  bool isNormalCondition() const;
  /// The status in the user's language, e.g. "Hoch"; "--" for no status. The display key if the
  /// host has no table for the language.
  std::string statusDisplay() const;
  std::string statusDisplay(const KVLocalized::Texts& texts) const;
  /// The threshold behind the status, always in English: "Sensor Temperature >= 194°F", "Sensor Fan
  /// Speed < 4800rpm", "Sensor Fan Speed = 0". Fans in revolutions per minute whatever the setting.
  /// None for the codes of an SMC, and for sensors other than temperatures and fans.
  std::optional<std::string> statusExplanation() const;
  std::optional<std::string> statusExplanation(KVSettings& settings) const;
  /// The key of a status in the tables of texts, e.g. "sensor-status-display-high-temp" for 2;
  /// empty for 0 and for numbers outside the table. Any thread.
  static std::string_view statusDisplayKey(KVSensorStatus status);

  // Texts and values for display (KVSensor_Display.cpp).

  /// The long label. The text that the user's language has for the key, or for the name of a fan:
  /// "Lüfter 1"; else one made from the full name: "Temperatur CPU Proximity (TC0P)". The key
  /// follows in parentheses, except for fans.
  std::string sensorDescription() const;
  std::string sensorDescription(const KVLocalized::Texts& texts) const;

  /// Value and limits as the settings want them: temperatures in Celsius or Fahrenheit, fans in
  /// revolutions or as a fraction of the range from 0 to 1, all others as stored. A fraction that
  /// cannot be computed is 0: a fan with two equal limits shows 0 at or below them and 1 above.
  double convertedValue() const;
  double convertedValue(KVSettings& settings) const;
  double convertedMinValue() const;
  double convertedMinValue(KVSettings& settings) const;
  double convertedMaxValue() const;
  double convertedMaxValue(KVSettings& settings) const;

  /// The converted value with its unit: "46°C", "1200rpm", "75%", "12.31V"; "-" below 0.
  std::string fullStringValue() const;
  std::string fullStringValue(KVSettings& settings) const;
  /// The same in short form: "46°", "1200".
  std::string tidyStringValue() const;
  std::string tidyStringValue(KVSettings& settings) const;
  /// The unit in long form, e.g. "°C"; none for a category of unknown type.
  std::optional<std::string> unitString() const;
  std::optional<std::string> unitString(KVSettings& settings) const;

  /// A new record with these names, values and codes; its type is that of the category.
  SensorPtr toSensor() const;

  // History (KVSensor_Graph.cpp).

  /// The points of one series in stored order; empty without points. Reads the whole history.
  std::vector<KVGraphPointPtr> hourGraphPoints() const;
  std::vector<KVGraphPointPtr> dayGraphPoints() const;
  std::vector<KVGraphPointPtr> weekGraphPoints() const;

  /// The range to draw the series in: the limits, extended to the recorded extremes, in the units
  /// of `convertedValue`. 0 and 1 for fans that are shown as fractions.
  double graphMinValue() const;
  double graphMinValue(KVSettings& settings) const;
  double graphMaxValue() const;
  double graphMaxValue(KVSettings& settings) const;

  /// The extreme of all points of the three series, in raw units; the recorded extreme without
  /// points, and when the extreme is -1, which means that nothing was recorded. Reads the whole
  /// history.
  double finalRecordedMaxValue() const;
  double finalRecordedMinValue() const;

  // Hosts may assign these too. The getters still compute their result, so that an assigned value
  // never shows.
  void setStatusEnum(KVSensorStatus) {}
  void setIsNormalCondition(bool) {}
  void setConvertedMinValue(double) {}
  void setConvertedMaxValue(double) {}
  void setHourGraphPoints(const std::vector<KVGraphPointPtr>&) {}
  void setDayGraphPoints(const std::vector<KVGraphPointPtr>&) {}
  void setWeekGraphPoints(const std::vector<KVGraphPointPtr>&) {}

 private:
  double inUnitOfUser(double raw, KVSettings& settings) const;
};

using KVSensorPtr = std::shared_ptr<KVSensor>;

}  // namespace kelvora
