#include "sysinfo/ByteCount.h"

#include <limits>

#include <gtest/gtest.h>
#include <unicode/locid.h>

namespace kelvora {
namespace {

constexpr std::uint64_t kKibi = 1024;

TEST(ByteCount, MemoryStyleCountsIn1024) {
  EXPECT_EQ(formattedByteCount(16 * kKibi * kKibi * kKibi, ByteCountStyle::kMemory), "16 GB");
  EXPECT_EQ(formattedByteCount(512 * kKibi * kKibi, ByteCountStyle::kMemory), "512 MB");
  EXPECT_EQ(formattedByteCount(64 * kKibi, ByteCountStyle::kMemory), "64 KB");
}

TEST(ByteCount, DecimalStyleCountsIn1000) {
  EXPECT_EQ(formattedByteCount(500'277'792'768, ByteCountStyle::kDecimal), "500.28 GB");
  EXPECT_EQ(formattedByteCount(64'000, ByteCountStyle::kDecimal), "64 KB");
}

TEST(ByteCount, DecimalsGrowWithTheUnitAndTrailingZerosAreDropped) {
  EXPECT_EQ(formattedByteCount(1'234, ByteCountStyle::kDecimal), "1 KB");
  EXPECT_EQ(formattedByteCount(1'264'000, ByteCountStyle::kDecimal), "1.3 MB");
  EXPECT_EQ(formattedByteCount(1'234'500'000, ByteCountStyle::kDecimal), "1.23 GB");
  EXPECT_EQ(formattedByteCount(1'236'000'000'000, ByteCountStyle::kDecimal), "1.24 TB");
  EXPECT_EQ(formattedByteCount(1'236'000'000'000'000, ByteCountStyle::kDecimal), "1.24 PB");
  EXPECT_EQ(formattedByteCount(1'236'000'000'000'000'000, ByteCountStyle::kDecimal), "1.24 EB");
  EXPECT_EQ(formattedByteCount(3 * kKibi * kKibi * kKibi / 2, ByteCountStyle::kMemory), "1.5 GB");
}

TEST(ByteCount, BytesAreSpelledOut) {
  EXPECT_EQ(formattedByteCount(0, ByteCountStyle::kMemory), "Zero KB");
  EXPECT_EQ(formattedByteCount(1, ByteCountStyle::kDecimal), "1 byte");
  EXPECT_EQ(formattedByteCount(2, ByteCountStyle::kDecimal), "2 bytes");
  EXPECT_EQ(formattedByteCount(1023, ByteCountStyle::kMemory), "1,023 bytes");
}

TEST(ByteCount, ACountThatRoundsUpToTheNextUnitIsShownInIt) {
  EXPECT_EQ(formattedByteCount(999'999, ByteCountStyle::kDecimal), "1 MB");
  EXPECT_EQ(formattedByteCount(kKibi * kKibi * kKibi - 1, ByteCountStyle::kMemory), "1 GB");
}

TEST(ByteCount, TheLargestCountIsInExabytes) {
  const auto largest = std::numeric_limits<std::uint64_t>::max();
  EXPECT_EQ(formattedByteCount(largest, ByteCountStyle::kMemory), "16 EB");
  EXPECT_EQ(formattedByteCount(largest, ByteCountStyle::kDecimal), "18.45 EB");
}

TEST(ByteCount, NoLocaleChangesWordsOrDigits) {
  for (const char* name : {"de_DE", "fr_FR", "en_US_POSIX"}) {
    UErrorCode status = U_ZERO_ERROR;
    icu::Locale::setDefault(icu::Locale(name), status);
    EXPECT_EQ(formattedByteCount(500'277'792'768, ByteCountStyle::kDecimal), "500.28 GB") << name;
    EXPECT_EQ(formattedByteCount(1023, ByteCountStyle::kMemory), "1,023 bytes") << name;
    EXPECT_EQ(formattedByteCount(0, ByteCountStyle::kMemory), "Zero KB") << name;
  }
}

}  // namespace
}  // namespace kelvora
