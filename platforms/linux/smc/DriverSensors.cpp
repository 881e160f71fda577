#include "platforms/linux/smc/DriverSensors.h"

#include <bit>
#include <cmath>
#include <limits>

#include "KelvoraCore/SMCRecords.h"

#include "platforms/linux/smc/DriverKeys.h"

namespace kelvora::platform {

namespace {

using Bytes = std::vector<std::byte>;

constexpr std::uint32_t kByteType = SMCPackedKey("ui8 ");
constexpr std::uint32_t kTemperatureType = SMCPackedKey("sp78");
constexpr std::uint32_t kSpeedType = SMCPackedKey("fpe2");
constexpr std::uint32_t kFloatType = SMCPackedKey("flt ");
constexpr std::uint32_t kFanType = SMCPackedKey("{fds");
constexpr std::uint32_t kFanBytes = 16;
constexpr std::size_t kFanNameAt = 4;

struct FanFile {
  const char* suffix;  // of the key
  const char* name;    // of the file
};

constexpr FanFile kFanFiles[] = {
    {"Ac", "_input"}, {"Mn", "_min"}, {"Mx", "_max"}, {"Sf", "_safe"}, {"Tg", "_output"}};

std::optional<Bytes> bigEndian(double value, double least, double most) {
  const double rounded = std::round(value);
  if (rounded < least || rounded > most) {
    return std::nullopt;
  }
  const auto bits = static_cast<std::uint16_t>(static_cast<std::int32_t>(rounded));
  return Bytes{static_cast<std::byte>(bits >> 8), static_cast<std::byte>(bits & 0xff)};
}

Bytes littleEndianFloat(double value) {
  auto bits = std::bit_cast<std::uint32_t>(static_cast<float>(value));
  Bytes bytes;
  for (std::size_t i = 0; i < sizeof bits; ++i, bits >>= 8) {
    bytes.push_back(static_cast<std::byte>(bits & 0xff));
  }
  return bytes;
}

std::optional<Bytes> encoded(double value, std::uint32_t type) {
  switch (type) {
    case kTemperatureType:
      return bigEndian(value * 256, std::numeric_limits<std::int16_t>::min(),
                       std::numeric_limits<std::int16_t>::max());
    case kSpeedType:
      return bigEndian(value * 4, 0, std::numeric_limits<std::uint16_t>::max());
    case kFloatType:
      return littleEndianFloat(value);
    default:
      return std::nullopt;
  }
}

// The record "{fds": four bytes that say where the fan is, and its name.
Bytes fanRecord(const std::string& label) {
  Bytes record(kFanBytes);
  for (std::size_t i = 0; i < label.size() && label[i] != '\n'; ++i) {
    if (kFanNameAt + i < record.size()) {
      record[kFanNameAt + i] = static_cast<std::byte>(label[i]);
    }
  }
  return record;
}

std::string fileOf(const char* kind, int number, const char* name) {
  return kind + std::to_string(number) + name;
}

}  // namespace

DriverSensors::DriverSensors(AppleSMCFiles& files) : files_(files) {
  addFans();
  addTemperatures();
}

// The driver numbers from 1 and the SMC from 0, in one digit.
void DriverSensors::addFans() {
  while (fanCount_ < 10 &&
         files_.read(fileOf("fan", static_cast<int>(fanCount_) + 1, "_input")).has_value()) {
    ++fanCount_;
  }
  add({SMCPackedKey("FNum"), kByteType, 1}, {"", Content::kFanCount});
  for (int number = 0; number < static_cast<int>(fanCount_); ++number) {
    addFan(number);
  }
}

void DriverSensors::addFan(int number) {
  const std::string prefix = "F" + std::to_string(number);
  add({SMCPackedKey(prefix + "ID"), kFanType, kFanBytes},
      {fileOf("fan", number + 1, "_label"), Content::kText});
  for (const FanFile& file : kFanFiles) {
    add({SMCPackedKey(prefix + file.suffix), kSpeedType, 2},
        {fileOf("fan", number + 1, file.name), Content::kNumber});
  }
}

void DriverSensors::addTemperatures() {
  for (int number = 1;; ++number) {
    const auto label = files_.read(fileOf("temp", number, "_label"));
    if (!label) {
      return;
    }
    add({packedLine(*label), kTemperatureType, 2},
        {fileOf("temp", number, "_input"), Content::kThousandths});
  }
}

void DriverSensors::add(const Key& key, Source source) {
  if (sources_.emplace(key.name, std::move(source)).second) {
    keys_.push_back(key);
  }
}

std::optional<Bytes> DriverSensors::payload(std::uint32_t name, std::uint32_t type) {
  const auto found = sources_.find(name);
  if (found == sources_.end()) {
    return std::nullopt;
  }
  const Source& source = found->second;
  if (source.content == Content::kFanCount) {
    return Bytes{static_cast<std::byte>(fanCount_)};
  }
  const auto content = files_.read(source.file);
  if (!content) {
    return std::nullopt;
  }
  if (source.content == Content::kText) {
    return fanRecord(*content);
  }
  const auto number = static_cast<double>(decimalNumber(content));
  return encoded(source.content == Content::kThousandths ? number / 1000 : number, type);
}

}  // namespace kelvora::platform
