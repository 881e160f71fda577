#include <algorithm>
#include <cmath>
#include <cstring>

#include "KelvoraCore/SMC.h"

#include "hardware/SMCTypes.h"

namespace kelvora {

namespace {

constexpr std::uint32_t kTypeUI8 = SMCPackedKey("ui8 ");
constexpr std::uint32_t kTypeUI16 = SMCPackedKey("ui16");
constexpr std::uint32_t kTypeUI32 = SMCPackedKey("ui32");
constexpr std::uint32_t kTypeSI8 = SMCPackedKey("si8 ");
constexpr std::uint32_t kTypeFloat = SMCPackedKey("flt ");

constexpr float kUnknown = -1.0F;

float wordToNumber(std::uint32_t type, std::uint16_t word) {
  const auto row = std::ranges::find(kSMCWordTypes, type, &SMCWordType::type);
  if (row == kSMCWordTypes.end()) {
    return kUnknown;
  }
  const float number = row->isSigned ? static_cast<float>(static_cast<std::int16_t>(word))
                                     : static_cast<float>(word);
  return number * row->factor / row->divisor;
}

}  // namespace

// A packed type has no fifth byte: a record's must be the NUL that ends the text.
float SMCConvertValueToNumber(SMCValueRecord value) {
  if (value.dataSize == 0) {
    return 0.0F;
  }
  if (value.dataType[4] != '\0') {
    return kUnknown;
  }
  const std::uint32_t type = SMCPackedKey({value.dataType, 4});
  if (type == kTypeUI8 || type == kTypeUI16 || type == kTypeUI32) {
    const auto size = std::min<std::uint32_t>(value.dataSize, sizeof value.bytes);
    return static_cast<float>(
        SMCConvertStringToNumber(value.bytes, static_cast<std::int32_t>(size), 10));
  }
  if (value.dataSize == 4 && type == kTypeFloat) {
    float number = 0;
    std::memcpy(&number, value.bytes, sizeof number);
    return number;
  }
  if (value.dataSize == 1 && type == kTypeSI8) {
    return static_cast<float>(static_cast<std::int8_t>(value.bytes[0]));
  }
  if (value.dataSize == 2) {
    return wordToNumber(type, static_cast<std::uint16_t>(value.bytes[0] << 8 | value.bytes[1]));
  }
  return kUnknown;
}

// Unsigned arithmetic, which wraps: bytes beyond the last four are shifted out, and an extended
// sign carries into the higher bytes as in two's complement.
std::uint32_t SMCConvertStringToNumber(const std::uint8_t* bytes, std::int32_t size,
                                       std::int32_t base) {
  std::uint32_t total = 0;
  for (std::int32_t i = 0; i < size; ++i) {
    const std::uint32_t byte =
        base == 16 ? static_cast<std::uint32_t>(static_cast<std::int8_t>(bytes[i])) : bytes[i];
    total = (total << 8) + byte;
  }
  return total;
}

std::int32_t SMCConvertNumberToString(char* textOut, std::uint32_t packed) {
  textOut[0] = static_cast<char>(packed >> 24);
  textOut[1] = static_cast<char>(packed >> 16);
  textOut[2] = static_cast<char>(packed >> 8);
  textOut[3] = static_cast<char>(packed);
  textOut[4] = '\0';
  return 4;
}

float _strtof(const std::uint8_t* bytes, std::int32_t size, std::int32_t fractionBits) {
  if (size < 1 || fractionBits < 0 || fractionBits > 8) {
    return 0.0F;
  }
  float total = 0.0F;
  for (std::int32_t i = 0; i < size - 1; ++i) {
    total += std::ldexp(static_cast<float>(bytes[i]), (8 - fractionBits) * (size - 1 - i));
  }
  const std::uint8_t last = bytes[size - 1];
  total += static_cast<float>(last >> fractionBits);
  return total + static_cast<float>(last & 3) * 0.25F;
}

}  // namespace kelvora
