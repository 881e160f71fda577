#pragma once

#include <array>
#include <cstdint>

namespace kelvora {

/// The packed form of the four bytes of a key or type, e.g. 0x73703738 for "sp78".
constexpr std::uint32_t smcCode(const char* text) {
  const auto byte = [text](int i) { return std::uint32_t{static_cast<unsigned char>(text[i])}; };
  return byte(0) << 24 | byte(1) << 16 | byte(2) << 8 | byte(3);
}

/// How a big-endian 16-bit word of one type becomes a number: word times factor over divisor.
struct SMCWordType {
  std::uint32_t type;  ///< packed
  bool isSigned;       ///< two's complement
  float factor;
  float divisor;
};

/// The types that a payload of two bytes is known to have. The last hexadecimal digit of an "fp" or
/// "sp" type counts its fraction bits. "spf0" and "si16" break the pattern: the products that read
/// them take them without sign, and limits and rules of users rest on that.
inline constexpr std::array<SMCWordType, 21> kSMCWordTypes{{
    {smcCode("fp1f"), false, 1, 32768},   {smcCode("fp4c"), false, 1, 4096},
    {smcCode("fp5b"), false, 1, 2048},    {smcCode("fp6a"), false, 1, 1024},
    {smcCode("fp79"), false, 1, 512},     {smcCode("fp88"), false, 1, 256},
    {smcCode("fpa6"), false, 1, 64},      {smcCode("fpc4"), false, 1, 16},
    {smcCode("fpe2"), false, 1, 4},       {smcCode("sp1e"), true, 1, 16384},
    {smcCode("sp3c"), true, 1, 4096},     {smcCode("sp4b"), true, 1, 2048},
    {smcCode("sp5a"), true, 1, 1024},     {smcCode("sp69"), true, 1, 512},
    {smcCode("sp78"), true, 1, 256},      {smcCode("sp87"), true, 1, 128},
    {smcCode("sp96"), true, 1, 64},       {smcCode("spb4"), true, 1, 16},
    {smcCode("spf0"), false, 1, 1},       {smcCode("si16"), false, 1, 1},
    {smcCode("{pwm"), false, 100, 65536},
}};

}  // namespace kelvora
