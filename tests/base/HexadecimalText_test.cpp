#include "base/HexadecimalText.h"

#include <array>
#include <cstddef>

#include <gtest/gtest.h>

namespace kelvora {
namespace {

TEST(HexadecimalText, EachByteIsTwoLowerCaseDigits) {
  EXPECT_EQ(hexadecimalText(std::array{std::byte{0x1f}, std::byte{0x40}, std::byte{0xab}}),
            "1f40ab");
  EXPECT_EQ(hexadecimalText(std::array{std::byte{0}, std::byte{0xff}}), "00ff");
  EXPECT_EQ(hexadecimalText({}), "");
}

}  // namespace
}  // namespace kelvora
