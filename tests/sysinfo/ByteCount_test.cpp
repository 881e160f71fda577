#include "sysinfo/ByteCount.h"

#include <limits>

#include <gtest/gtest.h>
#include <unicode/locid.h>

namespace kelvora {
namespace {

constexpr std::uint64_t kKibi = 1024;

class ByteCount : public testing::Test {
 protected:
  void SetUp() override { setLocale("en_US"); }
  static void setLocale(const char* name) {
    UErrorCode status = U_ZERO_ERROR;
    icu::Locale::setDefault(icu::Locale(name), status);
  }
};

TEST_F(ByteCount, MemoryStyleCountsIn1024) {
  EXPECT_EQ(formattedByteCount(16 * kKibi * kKibi * kKibi, ByteCountStyle::kMemory), "16 GB");
  EXPECT_EQ(formattedByteCount(512 * kKibi * kKibi, ByteCountStyle::kMemory), "512 MB");
  EXPECT_EQ(formattedByteCount(64 * kKibi, ByteCountStyle::kMemory), "64 KB");
}

TEST_F(ByteCount, DecimalStyleCountsIn1000) {
  EXPECT_EQ(formattedByteCount(500'277'792'768, ByteCountStyle::kDecimal), "500.28 GB");
  EXPECT_EQ(formattedByteCount(64'000, ByteCountStyle::kDecimal), "64 KB");
}

TEST_F(ByteCount, DecimalsGrowWithTheUnitAndTrailingZerosAreDropped) {
  EXPECT_EQ(formattedByteCount(1'234, ByteCountStyle::kDecimal), "1 KB");
  EXPECT_EQ(formattedByteCount(1'264'000, ByteCountStyle::kDecimal), "1.3 MB");
  EXPECT_EQ(formattedByteCount(1'234'500'000, ByteCountStyle::kDecimal), "1.23 GB");
  EXPECT_EQ(formattedByteCount(1'236'000'000'000, ByteCountStyle::kDecimal), "1.24 TB");
  EXPECT_EQ(formattedByteCount(3 * kKibi * kKibi * kKibi / 2, ByteCountStyle::kMemory), "1.5 GB");
}

TEST_F(ByteCount, BytesAreSpelledOut) {
  EXPECT_EQ(formattedByteCount(0, ByteCountStyle::kMemory), "Zero KB");
  EXPECT_EQ(formattedByteCount(1, ByteCountStyle::kDecimal), "1 byte");
  EXPECT_EQ(formattedByteCount(2, ByteCountStyle::kDecimal), "2 bytes");
  EXPECT_EQ(formattedByteCount(1023, ByteCountStyle::kMemory), "1,023 bytes");
}

TEST_F(ByteCount, ACountThatRoundsUpToTheNextUnitIsShownInIt) {
  EXPECT_EQ(formattedByteCount(999'999, ByteCountStyle::kDecimal), "1 MB");
  EXPECT_EQ(formattedByteCount(kKibi * kKibi * kKibi - 1, ByteCountStyle::kMemory), "1 GB");
}

TEST_F(ByteCount, TheLargestCountIsInExabytes) {
  const auto largest = std::numeric_limits<std::uint64_t>::max();
  EXPECT_EQ(formattedByteCount(largest, ByteCountStyle::kMemory), "16 EB");
  EXPECT_EQ(formattedByteCount(largest, ByteCountStyle::kDecimal), "18.45 EB");
}

TEST_F(ByteCount, DigitsFollowTheLocale) {
  setLocale("de_DE");
  EXPECT_EQ(formattedByteCount(500'277'792'768, ByteCountStyle::kDecimal), "500,28 GB");
}

}  // namespace
}  // namespace kelvora
