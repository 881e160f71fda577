#include "KelvoraCore/SMCWrapper.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <map>
#include <span>
#include <utility>

#include "KelvoraCore/KVUtils.h"
#include "KelvoraCore/PropertyListValue.h"
#include "KelvoraCore/SMC.h"

#include "hardware/RawReading.h"
#include "hardware/ReadingRecords.h"
#include "hardware/SMCReading.h"
#include "hardware/SMCText.h"
#include "hardware/SMCTypes.h"
#include "ports/Ports.h"

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

Sensor prototype(std::uint64_t type, double minLimitValue, double maxLimitValue) {
  Sensor sensor;
  sensor.type = type;
  sensor.minLimitValue = minLimitValue;
  sensor.maxLimitValue = maxLimitValue;
  sensor.platform = kEveryPlatform;
  return sensor;
}

// What the sensor keys with one first character have in common; null for keys that are no sensors.
const Sensor* prototypeOfKey(std::string_view key) {
  static const auto* const prototypes = new std::map<char, Sensor>{
      {'T', prototype(SensorTypeTemperature, 0, 110)},
      {'V', prototype(SensorTypeVoltage, 0, 0)},
      {'P', prototype(SensorTypePower, 0, 0)},
      {'I', prototype(SensorTypeCurrent, 0, 0)},
  };
  const auto found = key.empty() ? prototypes->end() : prototypes->find(key.front());
  return found == prototypes->end() ? nullptr : &found->second;
}

// "F0Ac" for the actual speed of fan 0; none for a fan that the alphabet does not name.
std::optional<SMCKeyText> fanKey(std::int64_t fanIndex, const char (&suffix)[3]) {
  if (fanIndex < 0 || fanIndex >= kNameableFans) {
    return std::nullopt;
  }
  return SMCKeyText{'F', kFanAlphabet[static_cast<std::size_t>(fanIndex)], suffix[0], suffix[1]};
}

std::string conversionFailure(std::string_view keyText, const SMCKeyInfo& info) {
  SMCKeyText type{};
  SMCConvertNumberToString(type.data(), info.dataType);
  return "SMC convert (" + wellFormed(keyText) + ") failed: val:" + textFromSMC(type.data()) +
         " size-" + std::to_string(static_cast<std::int32_t>(info.dataSize));
}

}  // namespace

struct SMCWrapper::SensorKeys {
  struct Readable {
    std::uint32_t packedKey;
    const std::string* text;
    const Sensor* prototype;
  };
  std::vector<std::string> texts;
  std::vector<Readable> readable;  // those of them that are sensors
};

void SMCWrapperDelegate::smcReadValueFailedWithError(const std::string& /*message*/) {}

SMCWrapper::SMCWrapper() : SMCWrapper(Platform::current()) {}

SMCWrapper::SMCWrapper(Platform& platform)
    : platform_(platform),
      sensorKeys_(std::make_shared<const SensorKeys>()),
      records_(std::make_unique<ReadingRecords>()) {
  SMCOpen();
}

SMCWrapper::~SMCWrapper() { SMCClose(); }

std::shared_ptr<SMCWrapperDelegate> SMCWrapper::delegate() const { return delegate_.lock(); }

void SMCWrapper::setDelegate(std::weak_ptr<SMCWrapperDelegate> delegate) {
  delegate_ = std::move(delegate);
}

const std::vector<std::string>& SMCWrapper::cachedAllSensorKeys() const {
  return sensorKeys_->texts;
}

void SMCWrapper::setCachedAllSensorKeys(std::vector<std::string> keys) {
  const auto replacement = std::make_shared<SensorKeys>();
  replacement->texts = std::move(keys);
  for (const std::string& key : replacement->texts) {
    if (const Sensor* prototype = prototypeOfKey(key)) {
      replacement->readable.push_back({smcCode(smcKeyFromText(key).data()), &key, prototype});
    }
  }
  sensorKeys_ = replacement;
}

const std::vector<std::string>& SMCWrapper::getAllSensorKeys() {
  if (cachedAllSensorKeys().empty()) {
    enumerateSensorKeys();
  }
  return cachedAllSensorKeys();
}

void SMCWrapper::enumerateSensorKeys() {
  const PropertyListValue claimed(readNumber(smcCode("#KEY"), "#KEY").value_or(0));
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
    if (prototypeOfKey(value.key) != nullptr && SMCConvertValueToNumber(value) != kNotConvertible) {
      keys.push_back(textFromSMC(value.key));
    }
  }
  setCachedAllSensorKeys(std::move(keys));
}

SensorList SMCWrapper::getAllSensors() {
  RawReading reading;
  read(reading);
  const std::shared_ptr<ReadingRecords::Records> records = records_->take(reading.sensors().size());
  auto next = records->begin();
  SensorList sensors;
  sensors.reserve(reading.sensors().size());
  for (const RawSensor& sensor : reading.sensors()) {
    sensor.copyTo(*next);
    sensors.emplace_back(records, &*next++);
  }
  return sensors;
}

void SMCWrapper::read(RawReading& reading) {
  const std::int64_t fans = std::min(numberOfFans(), kNameableFans);
  for (std::int64_t i = 0; i < fans; ++i) {
    readFan(i, reading);
  }
  readSensorKeys(reading);
}

void SMCWrapper::readFan(std::int64_t fanIndex, RawReading& reading) {
  Sensor fan;
  fan.key = std::to_string(fanIndex);
  fan.name = descriptionOfFan(fanIndex);
  fan.fullName = descriptionOfFan(fanIndex);
  fan.value = speedOfFan(fanIndex);
  fan.minLimitValue = safeMinimumSpeedOfFan(fanIndex);
  fan.maxLimitValue = safeMaximumSpeedOfFan(fanIndex);
  fan.type = SensorTypeFan;
  fan.group = SensorGroupFan;
  fan.platform = kEveryPlatform;
  reading.add(std::move(fan));
}

// The reading keeps the keys as they are now: a delegate that hears of a failure may replace them.
void SMCWrapper::readSensorKeys(RawReading& reading) {
  getAllSensorKeys();
  reading.keep(sensorKeys_);
  const std::vector<SensorKeys::Readable>& keys = sensorKeys_->readable;
  reading.reserve(keys.size());
  SMCExchange exchange;
  for (const auto& [packedKey, text, prototype] : keys) {
    if (const std::optional<double> value = readNumber(packedKey, *text, exchange)) {
      reading.add({text, prototype, *value});
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
  return PropertyListValue(readNumber(smcCode("FNum"), "FNum").value_or(0)).integerValue();
}

double SMCWrapper::speedOfFan(std::int64_t fanIndex) { return fanValue(fanIndex, "Ac"); }

double SMCWrapper::safeMinimumSpeedOfFan(std::int64_t fanIndex) { return fanValue(fanIndex, "Mn"); }

double SMCWrapper::safeMaximumSpeedOfFan(std::int64_t fanIndex) { return fanValue(fanIndex, "Mx"); }

double SMCWrapper::fanValue(std::int64_t fanIndex, const char (&suffix)[3]) {
  const std::optional<SMCKeyText> key = fanKey(fanIndex, suffix);
  return key ? readNumber(smcCode(key->data()), key->data()).value_or(0) : 0;
}

std::string SMCWrapper::descriptionOfFan(std::int64_t fanIndex) {
  if (const std::optional<SMCKeyText> key = fanKey(fanIndex, "ID")) {
    std::optional<std::string> description = readText(smcCode(key->data()), key->data());
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
  SMCExchange exchange;
  return readNumber(packedKey, keyText, exchange);
}

std::optional<double> SMCWrapper::readNumber(std::uint32_t packedKey, std::string_view keyText,
                                             SMCExchange& exchange) {
  SMCKeyInfo info;
  if (smcReadPayload(packedKey, info, exchange) != platform::kKernelSuccess) {
    reportFailedRead(keyText);
    return std::nullopt;
  }
  const float number = smcNumber(info, exchange.reply.bytes);
  if (number == kNotConvertible) {
    handleFailedWithErrMsg(conversionFailure(keyText, info));
    return std::nullopt;
  }
  return number;
}

std::optional<std::string> SMCWrapper::rawStringValueByKey(std::string_view key) {
  return readText(smcCode(smcKeyFromText(key).data()), key);
}

std::optional<std::string> SMCWrapper::readText(std::uint32_t packedKey, std::string_view keyText) {
  SMCKeyInfo info;
  SMCExchange exchange;
  const std::uint32_t status = smcReadPayload(packedKey, info, exchange);
  if (status != platform::kKernelSuccess || info.dataSize == 0) {
    reportFailedRead(keyText);
    return std::nullopt;
  }
  std::string text;
  for (const std::uint8_t byte :
       std::span(exchange.reply.bytes).first(std::min(info.dataSize, kLongestText))) {
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
