#include "platforms/linux/smc/DriverSensors.h"

#include <bit>
#include <cmath>
#include <limits>

#include "platforms/linux/smc/DriverKeys.h"
#include "platforms/linux/system/WholeNumber.h"

namespace kelvora::platform {

namespace {

using Bytes = std::vector<std::byte>;

constexpr std::uint32_t kTemperatureType = SMCPackedKey("sp78");
constexpr std::uint32_t kSpeedType = SMCPackedKey("fpe2");
constexpr std::uint32_t kFloatType = SMCPackedKey("flt ");
constexpr std::uint32_t kFanType = SMCPackedKey("{fds");
constexpr std::uint32_t kFanBytes = 16;
constexpr std::size_t kFanNameAt = 4;
constexpr double kMostSpeed = 0x3fff;  // the driver takes 14 bits

struct FanFile {
  const char* suffix;  // of the key
  const char* name;    // of the file
  std::uint32_t type;
  std::uint32_t dataSize;
  bool isWritable;
};

// The files hold numbers, whatever type the SMC has for them. Those that are written have the type
// in which fans are set: a target is a float, a minimum is fixed-point.
constexpr FanFile kFanFiles[] = {
    {"Md", "_manual", kByteType, 1, true}, {"Ac", "_input", kSpeedType, 2, false},
    {"Mn", "_min", kSpeedType, 2, true},   {"Mx", "_max", kSpeedType, 2, false},
    {"Sf", "_safe", kSpeedType, 2, false}, {"Tg", "_output", kFloatType, 4, true}};

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
    case kByteType:
      return value < 0 || value > 0xff ? std::nullopt
                                       : std::optional(Bytes{static_cast<std::byte>(value)});
    default:
      return std::nullopt;
  }
}

std::uint32_t bigEndianNumber(std::span<const std::byte> bytes) {
  std::uint32_t number = 0;
  for (const std::byte byte : bytes) {
    number = number << 8 | std::to_integer<std::uint32_t>(byte);
  }
  return number;
}

float littleEndianFloatNumber(std::span<const std::byte> bytes) {
  Bytes reversed(bytes.rbegin(), bytes.rend());
  return std::bit_cast<float>(bigEndianNumber(reversed));
}

// None for a type that no fan is written in, and for a payload of another size.
std::optional<double> decoded(std::span<const std::byte> payload, std::uint32_t type) {
  if (type == kByteType && payload.size() == 1) {
    return bigEndianNumber(payload);
  }
  if (type == kSpeedType && payload.size() == 2) {
    return bigEndianNumber(payload) / 4.0;
  }
  if (type == kFloatType && payload.size() == 4) {
    return littleEndianFloatNumber(payload);
  }
  return std::nullopt;
}

// The record "{fds": four bytes that say where the fan is, and its name.
Bytes fanRecord(const std::string& label) {
  Bytes record(kFanNameAt);
  for (const char character : label.substr(0, label.find('\n'))) {
    record.push_back(static_cast<std::byte>(character));
  }
  record.resize(kFanBytes);
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
    if (file.type == kByteType && !files_.read(fileOf("fan", number + 1, file.name))) {
      continue;  // a fan without a mode has no such key
    }
    add({SMCPackedKey(prefix + file.suffix), file.type, file.dataSize},
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
  const auto number = static_cast<double>(numberOf(content));
  return encoded(source.content == Content::kThousandths ? number / 1000 : number, type);
}

std::optional<std::string> DriverSensors::writableFile(std::uint32_t name) {
  const auto digit = static_cast<int>(name >> 16 & 0xff) - '0';
  if (name >> 24 != 'F' || digit < 0 || digit > 9) {
    return std::nullopt;
  }
  for (const FanFile& file : kFanFiles) {
    if (file.isWritable && (name & 0xffff) == SMCPackedKey(file.suffix) >> 16) {
      return fileOf("fan", digit + 1, file.name);
    }
  }
  return std::nullopt;
}

KernelStatus DriverSensors::write(std::uint32_t name, std::uint32_t type,
                                  std::span<const std::byte> payload) {
  const auto file = writableFile(name);
  if (!file || !sources_.contains(name)) {
    return kKernelNotPermitted;
  }
  const auto number = decoded(payload, type);
  if (!number || !(*number >= 0 && *number <= kMostSpeed)) {
    return kKernelBadArgument;
  }
  return files_.write(*file, std::to_string(std::lround(*number)) + "\n");
}

}  // namespace kelvora::platform
