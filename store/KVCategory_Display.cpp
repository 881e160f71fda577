#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

#include "KelvoraCore/KVCategory.h"
#include "KelvoraCore/KVLocalized.h"
#include "KelvoraCore/KVSensor.h"
#include "KelvoraCore/KVSettingsSnapshot.h"

namespace kelvora {

namespace {

// By category type.
constexpr std::array<std::string_view, 5> kNameKeys{"category-temperature-name",
                                                    "category-fan-name", "category-voltage-name",
                                                    "category-current-name", "category-power-name"};

}  // namespace

std::string KVCategory::localizedName() const {
  return localizedName(KVLocalized::Texts(settings(), platform()));
}

std::string KVCategory::localizedName(const KVLocalized::Texts& texts) const {
  const auto number = static_cast<std::size_t>(type());
  return number < kNameKeys.size()
             ? texts.localizedStringForKey(kNameKeys.at(number)).value_or(name())
             : name();
}

std::vector<KVSensorPtr> KVCategory::filterSensors() const {
  KVSettingsSnapshot snapshot(settings());
  return filterSensors(snapshot);
}

std::vector<KVSensorPtr> KVCategory::filterSensors(KVSettings& settings) const {
  if (assignedFilterSensors_) {
    return *assignedFilterSensors_;
  }
  std::vector<KVSensorPtr> shown = sensors();
  std::erase_if(shown, [&](const auto& sensor) {
    return !settings.showsSensor(static_cast<std::uint64_t>(sensor->sourceType()),
                                 sensor->isUnknownSensor());
  });
  return shown;
}

void KVCategory::setFilterSensors(std::optional<std::vector<KVSensorPtr>> sensors) {
  assignedFilterSensors_ = std::move(sensors);
}

}  // namespace kelvora
