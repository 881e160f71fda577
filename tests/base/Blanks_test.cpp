#include "base/Blanks.h"

#include <gtest/gtest.h>

namespace kelvora::platform {
namespace {

TEST(Blanks, EveryLineEndIsTrimmedWhereLineEndsAre) {
  for (const char* end :
       {"\n", "\v", "\f", "\r", "\u0085", "\u2028", "\u2029", "\t", " ", "\u3000"}) {
    EXPECT_EQ(trimmedOfBlanksAndLineEnds(std::string(end) + "a" + end), "a") << end;
  }
  EXPECT_EQ(trimmedOfBlanksAndLineEnds("\u200ba\x0e"), "\u200ba\x0e");
}

TEST(Blanks, ABlankBeforeAStrayByteIsNotAtTheEnd) {
  EXPECT_EQ(trimmedOfBlanks("a \x80"), "a \x80");
  EXPECT_EQ(trimmedOfBlanksAndLineEnds("a\n\x80\x80"), "a\n\x80\x80");
}

TEST(Blanks, BytesBeforeTheTextDoNotCount) {
  EXPECT_EQ(trimmedOfBlanks(std::string_view("\u3000").substr(2)), "\x80");
}

TEST(Blanks, OnlyBlanksInARunBecomeOne) {
  EXPECT_EQ(withSingleBlanks("a \t  \tb"), "a \t \tb");
  EXPECT_EQ(withSingleBlanks("a\u00a0\u00a0b"), "a\u00a0\u00a0b");
}

}  // namespace
}  // namespace kelvora::platform
