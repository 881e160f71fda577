#pragma once

// The basic types of macOS, for the tests that compile its sources on another system.
#include <cstdint>

using Boolean = unsigned char;
using UInt8 = std::uint8_t;
using SInt8 = std::int8_t;
using UInt16 = std::uint16_t;
using SInt16 = std::int16_t;
using UInt32 = std::uint32_t;
using SInt32 = std::int32_t;
using UInt64 = std::uint64_t;
using SInt64 = std::int64_t;
using UniChar = UInt16;
using OSStatus = SInt32;
