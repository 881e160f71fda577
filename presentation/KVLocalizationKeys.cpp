#include "KelvoraCore/KVLocalizationKeys.h"

#include <array>

namespace kelvora {

namespace {

constexpr std::array<std::string_view, 46> kKeys{
    "sensor-status-display-normal-temp",
    "sensor-status-display-high-temp",
    "sensor-status-display-very-high-temp",
    "sensor-status-display-zero-speed",
    "sensor-status-display-normal-speed",
    "sensor-status-display-high-speed",
    "sensor-status-display-very-high-speed",
    "sensor-status-display-ok",
    "sensor-status-display-skipped",
    "sensor-status-display-temperature-can-not-be-read",
    "sensor-status-display-failed-to-initialize",
    "sensor-status-display-temperature-below-allowed-minimum",
    "sensor-status-display-unstable-temperature",
    "sensor-status-display-error",
    "Temp-%@",
    "Fan-%@",
    "Voltage-%@",
    "Current-%@",
    "Power-%@",
    "category-temperature-name",
    "category-fan-name",
    "category-voltage-name",
    "category-current-name",
    "category-power-name",
    "overview-model-id-item",
    "overview-model-number-item",
    "overview-model-year-item",
    "overview-serial-number-item",
    "overview-processor-item",
    "overview-number-of-cores-item",
    "overview-number-of-threads-item",
    "overview-dedicated-graphics-item",
    "overview-graphics-item",
    "overview-memory-item",
    "overview-disk-item",
    "overview-battery-health-item",
    "overview-battery-cycle-count-item",
    "overview-number-of-cores-value",
    "overview-number-of-p-cores-value",
    "overview-number-of-e-cores-value",
    "add-fan-condition-alert-message",
    "invalid-sensor-key-alert-message",
    "duplicated-sensor-alert-message",
    "cannot-remove-default-sensor-alert-message",
    "invalid-input-data-alert-message",
    "general-error-alert-message",
};

}  // namespace

std::span<const std::string_view> localizationKeys() { return kKeys; }

}  // namespace kelvora
