#pragma once

#include <array>
#include <cstdint>

#include "KelvoraCore/SMCRecords.h"

namespace kelvora {

/// How a big-endian 16-bit word of one type becomes a number: word times factor over divisor.
struct SMCWordType {
  std::uint32_t type;  ///< packed
  bool isSigned;       ///< two's complement
  float factor;
  float divisor;
};

/// The known types of a payload of two bytes. The last hexadecimal digit of an "fp" or "sp" type is
/// the number of its fraction bits. "spf0" and "si16" break the pattern: they are read without
/// sign, and limits and alert rules that users have set depend on that.
inline constexpr std::array<SMCWordType, 21> kSMCWordTypes{{
    {SMCPackedKey("fp1f"), false, 1, 32768},   {SMCPackedKey("fp4c"), false, 1, 4096},
    {SMCPackedKey("fp5b"), false, 1, 2048},    {SMCPackedKey("fp6a"), false, 1, 1024},
    {SMCPackedKey("fp79"), false, 1, 512},     {SMCPackedKey("fp88"), false, 1, 256},
    {SMCPackedKey("fpa6"), false, 1, 64},      {SMCPackedKey("fpc4"), false, 1, 16},
    {SMCPackedKey("fpe2"), false, 1, 4},       {SMCPackedKey("sp1e"), true, 1, 16384},
    {SMCPackedKey("sp3c"), true, 1, 4096},     {SMCPackedKey("sp4b"), true, 1, 2048},
    {SMCPackedKey("sp5a"), true, 1, 1024},     {SMCPackedKey("sp69"), true, 1, 512},
    {SMCPackedKey("sp78"), true, 1, 256},      {SMCPackedKey("sp87"), true, 1, 128},
    {SMCPackedKey("sp96"), true, 1, 64},       {SMCPackedKey("spb4"), true, 1, 16},
    {SMCPackedKey("spf0"), false, 1, 1},       {SMCPackedKey("si16"), false, 1, 1},
    {SMCPackedKey("{pwm"), false, 100, 65536},
}};

}  // namespace kelvora
