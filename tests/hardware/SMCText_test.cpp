#include "KelvoraCore/SMCText.h"

#include <string>

#include <gtest/gtest.h>

#include "KelvoraCore/SMCRecords.h"

namespace kelvora::testing {
namespace {

using namespace std::string_view_literals;

TEST(SMCPackedKey, PutsTheFirstByteInTheMostSignificantPlace) {
  EXPECT_EQ(SMCPackedKey("TC0P"), 0x54433050U);
  EXPECT_EQ(SMCPackedKey("T\xff\x80\x01"), 0x54ff8001U);
}

TEST(SMCPackedKey, TakesFourBytesAndPadsAShorterTextWithNUL) {
  EXPECT_EQ(SMCPackedKey("TC0PX"), 0x54433050U);
  EXPECT_EQ(SMCPackedKey("TB"), 0x54420000U);
  EXPECT_EQ(SMCPackedKey(""), 0U);
  EXPECT_EQ(SMCPackedKey("T\0\0x"sv), 0x54000078U);
}

TEST(SMCText, TakesEachByteForTheCharacterOfItsCode) {
  EXPECT_EQ(textFromSMC("T\x7f\x80x"), "T\x7f\u0080x");
  EXPECT_EQ(textFromSMC("T\xb0\xffx"), "T\u00b0\u00ffx");
}

TEST(SMCText, EndsAtTheFirstNUL) {
  EXPECT_EQ(textFromSMC("TC\0P"sv), "TC");
  EXPECT_EQ(textFromSMC("\0"sv), "");
  EXPECT_EQ(textFromSMC("TC0P, and no limit of length"), "TC0P, and no limit of length");
}

TEST(SMCText, PacksTheFirstFourCharactersOfAKey) {
  EXPECT_EQ(packedKeyFromText("TC0PX"), SMCPackedKey("TC0P"));
  EXPECT_EQ(packedKeyFromText("T"), SMCPackedKey("T"));
  EXPECT_EQ(packedKeyFromText(""), 0U);
  EXPECT_EQ(packedKeyFromText("T\0\0x"sv), SMCPackedKey("T\0\0x"sv));
}

TEST(SMCText, PacksACharacterWithoutAByteAsAQuestionMark) {
  EXPECT_EQ(packedKeyFromText("\u00b0\u00ff\u0100\U0001f600x"), SMCPackedKey("\xb0\xff??"));
  EXPECT_EQ(packedKeyFromText("\U0001f600\U0001f600\U0001f600\U0001f600"), SMCPackedKey("????"));
  EXPECT_EQ(packedKeyFromText("\U0001f600ab\U0001f600c"), SMCPackedKey("?ab?"));
}

TEST(SMCText, PacksEachMalformedSequenceAsAQuestionMark) {
  EXPECT_EQ(packedKeyFromText("a\x80"), SMCPackedKey("a?"));
  EXPECT_EQ(packedKeyFromText("a\xf0\x9f\x98z\xc3"), SMCPackedKey("a?z?"));
}

}  // namespace
}  // namespace kelvora::testing
