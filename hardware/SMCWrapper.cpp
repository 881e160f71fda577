#include "KelvoraCore/SMCWrapper.h"

#include <algorithm>
#include <span>
#include <utility>

#include "KelvoraCore/PropertyListValue.h"
#include "KelvoraCore/SMC.h"
#include "KelvoraCore/SMCText.h"

#include "base/UTF8Text.h"
#include "hardware/FanKeys.h"
#include "hardware/KeyReading.h"
#include "hardware/PrivilegedTool.h"
#include "hardware/SMCConnection.h"
#include "ports/Ports.h"

namespace kelvora {

namespace {

constexpr float kNotConvertible = -1.0F;

// A faulty SMC may claim up to four billion keys; a real one has some hundred to some thousand. An
// enumeration ends after kMostUnreadablePositions in a row, and after kMostPositions in all.
constexpr std::uint32_t kMostUnreadablePositions = 65'536;
constexpr std::int64_t kMostPositions = 1'048'576;

// What the sensor keys with one first character have in common.
struct KeyKind {
  char prefix;
  SensorType type;
  double maxLimitValue;
};

constexpr KeyKind kKeyKinds[] = {
    {'T', SensorTypeTemperature, 110},
    {'V', SensorTypeVoltage, 0},
    {'P', SensorTypePower, 0},
    {'I', SensorTypeCurrent, 0},
};

// Null for a key that is not a sensor.
const KeyKind* kindOfKey(std::string_view key) {
  const auto* const kind = std::ranges::find_if(
      kKeyKinds, [key](const KeyKind& each) { return key.starts_with(each.prefix); });
  return kind == std::end(kKeyKinds) ? nullptr : kind;
}

SensorPtr sensorOfKey(const std::string& key, const KeyKind& kind, double value) {
  auto sensor = std::make_shared<Sensor>();
  sensor->key = key;
  sensor->name = key;
  sensor->fullName = key;
  sensor->value = value;
  sensor->maxLimitValue = kind.maxLimitValue;
  sensor->type = kind.type;
  sensor->platform = SensorPlatformEvery;
  return sensor;
}

std::int64_t integerValue(std::optional<double> number) {
  return PropertyListValue(number.value_or(0)).integerValue();
}

std::string conversionFailure(std::string_view key, const SMCValueRecord& value) {
  return "SMC convert (" + validUTF8(key) + ") failed: val:" + textFromSMC(value.dataType) +
         " size-" + std::to_string(static_cast<std::int32_t>(value.dataSize));
}

}  // namespace

void SMCWrapperDelegate::smcReadValueFailedWithError(const std::string& /*message*/) {}

SMCWrapper::SMCWrapper() : SMCWrapper(Platform::current()) {}

SMCWrapper::SMCWrapper(Platform& platform)
    : platform_(platform),
      connection_(SMCConnection::to(platform)),
      sensorKeys_(std::make_shared<const std::vector<std::string>>()) {
  connection_->open();
}

SMCWrapper::~SMCWrapper() { connection_->close(); }

std::shared_ptr<SMCWrapperDelegate> SMCWrapper::delegate() const { return delegate_.lock(); }

void SMCWrapper::setDelegate(std::weak_ptr<SMCWrapperDelegate> delegate) {
  delegate_ = std::move(delegate);
}

const std::vector<std::string>& SMCWrapper::cachedAllSensorKeys() const { return *sensorKeys_; }

void SMCWrapper::setCachedAllSensorKeys(std::vector<std::string> keys) {
  sensorKeys_ = std::make_shared<const std::vector<std::string>>(std::move(keys));
}

const std::vector<std::string>& SMCWrapper::getAllSensorKeys() {
  if (sensorKeys_->empty()) {
    setCachedAllSensorKeys(enumeratedSensorKeys());
  }
  return *sensorKeys_;
}

std::vector<std::string> SMCWrapper::enumeratedSensorKeys() {
  const std::int64_t count = std::min(integerValue(rawValueByKey("#KEY")), kMostPositions);
  std::vector<std::string> keys;
  std::uint32_t unreadable = 0;
  for (std::int64_t i = 0; i < count && unreadable < kMostUnreadablePositions; ++i) {
    SMCValueRecord value;
    if (connection_->readKeyByIndex(static_cast<std::uint32_t>(i), value) !=
        platform::kKernelSuccess) {
      ++unreadable;
      continue;
    }
    unreadable = 0;
    if (kindOfKey(value.key) != nullptr && SMCConvertValueToNumber(value) != kNotConvertible) {
      keys.push_back(textFromSMC(value.key));
    }
  }
  return keys;
}

SensorList SMCWrapper::getAllSensors() {
  SensorList sensors;
  const std::int64_t fans = std::min(numberOfFans(), kNameableFans);
  for (std::int64_t i = 0; i < fans; ++i) {
    sensors.push_back(fan(i));
  }
  getAllSensorKeys();
  // The delegate may replace the list when it receives a failure; this reading keeps its copy.
  const auto keys = sensorKeys_;
  sensors.reserve(sensors.size() + keys->size());
  for (const std::string& key : *keys) {
    const KeyKind* const kind = kindOfKey(key);
    if (kind == nullptr) {
      continue;
    }
    if (const std::optional<double> value = rawValueByKey(key)) {
      sensors.push_back(sensorOfKey(key, *kind, *value));
    }
  }
  return sensors;
}

// The description is read twice on purpose, once for each name. The calls of a reading and their
// order are fixed: recorded call sequences are compared with them.
SensorPtr SMCWrapper::fan(std::int64_t fanIndex) {
  std::string name = descriptionOfFan(fanIndex);
  std::string fullName = descriptionOfFan(fanIndex);
  const double speed = speedOfFan(fanIndex);
  const double minimum = safeMinimumSpeedOfFan(fanIndex);
  const double maximum = safeMaximumSpeedOfFan(fanIndex);
  return Sensor::instanceWithKey(std::to_string(fanIndex), std::move(name), std::move(fullName),
                                 speed, minimum, maximum, SensorTypeFan, SensorGroupFan,
                                 SensorPlatformEvery, SensorSourceSMC, false);
}

std::optional<double> SMCWrapper::getSensorValueByKey(std::string_view key, std::uint64_t type) {
  if (type == SensorTypeFan) {
    return speedOfFan(PropertyListValue(std::string(key)).integerValue());
  }
  return rawValueByKey(key);
}

std::int64_t SMCWrapper::numberOfFans() { return integerValue(rawValueByKey("FNum")); }

double SMCWrapper::speedOfFan(std::int64_t fanIndex) { return fanValue(fanIndex, "Ac"); }

double SMCWrapper::safeMinimumSpeedOfFan(std::int64_t fanIndex) { return fanValue(fanIndex, "Mn"); }

double SMCWrapper::safeMaximumSpeedOfFan(std::int64_t fanIndex) { return fanValue(fanIndex, "Mx"); }

double SMCWrapper::fanValue(std::int64_t fanIndex, std::string_view suffix) {
  const std::optional<std::string> key = fanKey(fanIndex, suffix);
  return key ? rawValueByKey(*key).value_or(0) : 0;
}

std::string SMCWrapper::descriptionOfFan(std::int64_t fanIndex) {
  if (const std::optional<std::string> key = fanKey(fanIndex, "ID")) {
    std::optional<std::string> description = rawStringValueByKey(*key);
    if (description && !description->empty()) {
      return *std::move(description);
    }
  }
  // Unsigned: the highest index has no successor.
  return "Fan " +
         std::to_string(static_cast<std::int64_t>(static_cast<std::uint64_t>(fanIndex) + 1));
}

bool SMCWrapper::read(std::string_view key, SMCValueRecord& value) {
  return connection_->readKey(packedKeyFromText(key), value) == platform::kKernelSuccess;
}

std::optional<double> SMCWrapper::rawValueByKey(std::string_view key) {
  SMCValueRecord value;
  if (!read(key, value)) {
    reportFailedRead(key);
    return std::nullopt;
  }
  const float number = SMCConvertValueToNumber(value);
  if (number == kNotConvertible) {
    handleFailedWithErrMsg(conversionFailure(key, value));
    return std::nullopt;
  }
  return number;
}

std::optional<std::string> SMCWrapper::rawStringValueByKey(std::string_view key) {
  SMCValueRecord value;
  if (!read(key, value) || value.dataSize == 0) {
    reportFailedRead(key);
    return std::nullopt;
  }
  std::string text;
  const std::size_t size = std::min<std::size_t>(value.dataSize, sizeof value.bytes);
  for (const std::uint8_t byte : std::span(value.bytes).first(size)) {
    if (byte > ' ') {
      appendSMCCharacter(text, byte);
    }
  }
  return text;
}

bool SMCWrapper::setExternalValue(std::string_view value, std::string_view key) {
  const auto request = privilegedToolRequest(platform_, value, key);
  if (!request) {
    return false;
  }
  const platform::ChildLaunch launch = platform_.childProcesses().launch(*request);
  if (!launch.child) {
    return false;
  }
  const int status = launch.child->waitUntilExit();
  return status == platform::kUnknownExitStatus ? readsAs(platform_, key, value) : status == 0;
}

void SMCWrapper::reportFailedRead(std::string_view key) {
  handleFailedWithErrMsg("SMC read (" + validUTF8(key) + ") failed");
}

void SMCWrapper::handleFailedWithErrMsg(const std::string& message) {
  if (const std::shared_ptr<SMCWrapperDelegate> delegate = delegate_.lock()) {
    delegate->smcReadValueFailedWithError(message);
  }
}

}  // namespace kelvora
