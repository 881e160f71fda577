#include "KelvoraCore/SMCWrapper.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>
#include <utility>

#include "KelvoraCore/KVUtils.h"
#include "KelvoraCore/PropertyListValue.h"
#include "KelvoraCore/SMC.h"

#include "hardware/ReadingRecords.h"
#include "hardware/SMCReading.h"
#include "hardware/SMCText.h"
#include "hardware/SMCTypes.h"
#include "platform/Platform.h"

namespace kelvora {

namespace {

constexpr std::string_view kFanAlphabet = "0123456789ABCDEFGHIJ";
constexpr auto kNameableFans = static_cast<std::int64_t>(kFanAlphabet.size());
constexpr std::uint64_t kEveryPlatform = 511;
constexpr std::uint32_t kLongestText = sizeof(SMCValueRecord::bytes);
constexpr float kNotConvertible = -1.0F;

// A faulty SMC may claim up to four billion keys. A real one has some hundred to some thousand, so
// an enumeration ends after this many positions without a readable key, and after the other many
// positions altogether.
constexpr std::uint32_t kMostUnreadablePositions = 65'536;
constexpr std::int64_t kMostPositions = 1'048'576;

// The keys that are sensors, by their first character.
struct SensorKind {
  char prefix;
  std::uint64_t type;
  double minLimitValue;
  double maxLimitValue;
};

constexpr std::array<SensorKind, 4> kSensorKinds{{
    {'T', SensorTypeTemperature, 0, 110},
    {'V', SensorTypeVoltage, 0, 0},
    {'P', SensorTypePower, 0, 0},
    {'I', SensorTypeCurrent, 0, 0},
}};

const SensorKind* kindOfKey(std::string_view key) {
  const auto* kind = std::ranges::find_if(
      kSensorKinds, [&](const SensorKind& row) { return key.starts_with(row.prefix); });
  return kind == kSensorKinds.end() ? nullptr : kind;
}

void fill(Sensor& sensor, const std::string& key, const SensorKind& kind, double value) {
  sensor.key = key;
  sensor.name = key;
  sensor.fullName = key;
  sensor.value = value;
  sensor.minLimitValue = kind.minLimitValue;
  sensor.maxLimitValue = kind.maxLimitValue;
  sensor.type = kind.type;
  sensor.group = SensorGroupNone;
  sensor.platform = kEveryPlatform;
  sensor.sourceType = SensorSourceSMC;
  sensor.average = false;
}

// "F0Ac" for the actual speed of fan 0; none for a fan that the alphabet does not name.
std::optional<std::string> fanKey(std::int64_t fanIndex, std::string_view suffix) {
  if (fanIndex < 0 || fanIndex >= kNameableFans) {
    return std::nullopt;
  }
  std::string key = "F";
  key += kFanAlphabet[static_cast<std::size_t>(fanIndex)];
  return key += suffix;
}

std::string conversionFailure(std::string_view keyText, const SMCKeyInfo& info) {
  SMCKeyText type{};
  SMCConvertNumberToString(type.data(), info.dataType);
  return "SMC convert (" + wellFormed(keyText) + ") failed: val:" + textFromSMC(type.data()) +
         " size-" + std::to_string(static_cast<std::int32_t>(info.dataSize));
}

}  // namespace

struct SMCWrapper::SensorKey {
  std::uint32_t smcKey;    // packed
  const SensorKind* kind;  // null for a key that is no sensor
};

void SMCWrapperDelegate::smcReadValueFailedWithError(const std::string& /*message*/) {}

SMCWrapper::SMCWrapper() : SMCWrapper(platform::Platform::current()) {}

SMCWrapper::SMCWrapper(platform::Platform& platform)
    : platform_(platform), records_(std::make_unique<ReadingRecords>()) {
  SMCOpen();
}

SMCWrapper::~SMCWrapper() { SMCClose(); }

std::shared_ptr<SMCWrapperDelegate> SMCWrapper::delegate() const { return delegate_.lock(); }

void SMCWrapper::setDelegate(std::weak_ptr<SMCWrapperDelegate> delegate) {
  delegate_ = std::move(delegate);
}

const std::vector<std::string>& SMCWrapper::cachedAllSensorKeys() const {
  return cachedAllSensorKeys_;
}

void SMCWrapper::setCachedAllSensorKeys(std::vector<std::string> keys) {
  cachedAllSensorKeys_ = std::move(keys);
  sensorKeys_.clear();
  sensorKeys_.reserve(cachedAllSensorKeys_.size());
  for (const std::string& key : cachedAllSensorKeys_) {
    sensorKeys_.push_back({smcCode(smcKeyFromText(key).data()), kindOfKey(key)});
  }
}

const std::vector<std::string>& SMCWrapper::getAllSensorKeys() {
  if (cachedAllSensorKeys_.empty()) {
    enumerateSensorKeys();
  }
  return cachedAllSensorKeys_;
}

void SMCWrapper::enumerateSensorKeys() {
  const PropertyListValue claimed(rawValueByKey("#KEY").value_or(0));
  const std::int64_t count = std::min(claimed.integerValue(), kMostPositions);
  std::vector<std::string> keys;
  std::uint32_t unreadable = 0;
  for (std::int64_t i = 0; i < count && unreadable < kMostUnreadablePositions; ++i) {
    SMCValueRecord value;
    if (SMCReadKeyByIndex(static_cast<std::uint32_t>(i), &value) != platform::kKernelSuccess) {
      ++unreadable;
      continue;
    }
    unreadable = 0;
    if (kindOfKey(value.key) != nullptr && SMCConvertValueToNumber(value) != kNotConvertible) {
      keys.push_back(textFromSMC(value.key));
    }
  }
  setCachedAllSensorKeys(std::move(keys));
}

SensorList SMCWrapper::getAllSensors() {
  SensorList sensors;
  const std::int64_t fans = std::min(numberOfFans(), kNameableFans);
  for (std::int64_t i = 0; i < fans; ++i) {
    appendFan(sensors, i);
  }
  appendSensorKeys(sensors);
  return sensors;
}

void SMCWrapper::appendFan(SensorList& sensors, std::int64_t fanIndex) {
  std::string name = descriptionOfFan(fanIndex);
  std::string fullName = descriptionOfFan(fanIndex);
  const double speed = speedOfFan(fanIndex);
  const double minimum = safeMinimumSpeedOfFan(fanIndex);
  const double maximum = safeMaximumSpeedOfFan(fanIndex);
  sensors.push_back(Sensor::instanceWithKey(
      std::to_string(fanIndex), std::move(name), std::move(fullName), speed, minimum, maximum,
      SensorTypeFan, SensorGroupFan, kEveryPlatform, SensorSourceSMC, false));
}

// By index, and no further than there is room: a delegate that hears of a failure may replace the
// list.
void SMCWrapper::appendSensorKeys(SensorList& sensors) {
  getAllSensorKeys();
  const std::size_t room = sensorKeys_.size();
  const std::shared_ptr<ReadingRecords::Records> records = records_->take(room);
  auto next = records->begin();
  sensors.reserve(sensors.size() + room);
  for (std::size_t i = 0; i < room && i < sensorKeys_.size(); ++i) {
    const auto& [smcKey, kind] = sensorKeys_[i];
    if (kind == nullptr) {
      continue;
    }
    if (const std::optional<double> value = readNumber(smcKey, cachedAllSensorKeys_[i])) {
      fill(*next, cachedAllSensorKeys_[i], *kind, *value);
      sensors.emplace_back(records, &*next++);
    }
  }
}

std::optional<double> SMCWrapper::getSensorValueByKey(std::string_view key, std::uint64_t type) {
  if (type == SensorTypeFan) {
    return speedOfFan(PropertyListValue(std::string(key)).integerValue());
  }
  return rawValueByKey(key);
}

std::int64_t SMCWrapper::numberOfFans() {
  return PropertyListValue(rawValueByKey("FNum").value_or(0)).integerValue();
}

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

std::optional<double> SMCWrapper::rawValueByKey(std::string_view key) {
  return readNumber(smcCode(smcKeyFromText(key).data()), key);
}

std::optional<double> SMCWrapper::readNumber(std::uint32_t packedKey, std::string_view keyText) {
  SMCKeyInfo info;
  SMCParamRecord reply;
  if (smcReadPayload(packedKey, info, reply) != platform::kKernelSuccess) {
    reportFailedRead(keyText);
    return std::nullopt;
  }
  const float number = smcNumber(info, reply.bytes);
  if (number == kNotConvertible) {
    handleFailedWithErrMsg(conversionFailure(keyText, info));
    return std::nullopt;
  }
  return number;
}

std::optional<std::string> SMCWrapper::rawStringValueByKey(std::string_view key) {
  SMCValueRecord value;
  const std::uint32_t status = SMCReadKey(smcKeyFromText(key).data(), &value);
  if (status != platform::kKernelSuccess || value.dataSize == 0) {
    reportFailedRead(key);
    return std::nullopt;
  }
  std::string text;
  for (const std::uint8_t byte :
       std::span(value.bytes).first(std::min(value.dataSize, kLongestText))) {
    if (byte > ' ') {
      appendSMCCharacter(text, byte);
    }
  }
  return text;
}

bool SMCWrapper::setExternalValue(std::string_view value, std::string_view key) {
  const std::optional<std::string> tool = KVUtils::smcExePath(platform_);
  if (!tool || !platform_.files().exists(*tool)) {
    return false;
  }
  platform::ChildRequest request;
  request.path = *tool;
  request.arguments = {"-k", std::string(key), "-w", std::string(value)};
  request.qualityOfService = platform::kQualityOfServiceUserInteractive;
  const platform::ChildLaunch launch = platform_.childProcesses().launch(request);
  return launch.child && launch.child->waitUntilExit() == 0;
}

void SMCWrapper::reportFailedRead(std::string_view keyText) {
  handleFailedWithErrMsg("SMC read (" + wellFormed(keyText) + ") failed");
}

void SMCWrapper::handleFailedWithErrMsg(const std::string& message) {
  if (const std::shared_ptr<SMCWrapperDelegate> delegate = delegate_.lock()) {
    delegate->smcReadValueFailedWithError(message);
  }
}

}  // namespace kelvora
