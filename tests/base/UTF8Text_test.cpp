#include "base/UTF8Text.h"

#include <gtest/gtest.h>

namespace kelvora {
namespace {

TEST(UTF8Text, TextOfEveryLengthOfCharacterIsValid) {
  for (const char* text : {"", "a", "\u00e9", "\u20ac", "\U0001f600"}) {
    EXPECT_TRUE(isValidUTF8(text)) << text;
    EXPECT_EQ(validUTF8(text), text);
  }
  EXPECT_TRUE(isValidUTF8(std::string_view("a\0b", 3)));
}

TEST(UTF8Text, StrayAndCutAndOverlongBytesAreReplaced) {
  EXPECT_EQ(validUTF8("a\x80"), "a\ufffd");
  EXPECT_EQ(validUTF8("\xff"
                      "b"),
            "\ufffd"
            "b");
  EXPECT_EQ(validUTF8("\xe2\x82"), "\ufffd");
  for (const char* text : {"\x80", "\xe2\x82", "\xc0\x80", "\xed\xa0\x80", "\xf4\x90\x80\x80"}) {
    EXPECT_FALSE(isValidUTF8(text));
    EXPECT_TRUE(isValidUTF8(validUTF8(text)));
  }
}

}  // namespace
}  // namespace kelvora
