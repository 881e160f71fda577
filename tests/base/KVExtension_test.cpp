#include "KelvoraCore/KVExtension.h"

#include <cmath>
#include <cstdlib>
#include <limits>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <unicode/locid.h>

namespace kelvora::KVExtension {
namespace {

const std::string kMalformed = "a\xff\xc3(b";

TEST(KVExtensionText, TrimWhitespaceEmptiesTheEndsAndKeepsOneBlankOfARun) {
  EXPECT_EQ(trimWhitespace("  a    b  "), "a b");
  EXPECT_EQ(trimWhitespace("a   b     c"), "a b c");
  EXPECT_EQ(trimWhitespace("\t a \t"), "a");
  EXPECT_EQ(trimWhitespace("a\t\tb"), "a\t\tb");
  EXPECT_EQ(trimWhitespace(""), "");
  EXPECT_EQ(trimWhitespace("   "), "");
}

TEST(KVExtensionText, TrimWhitespaceTakesEverySpaceSeparatorButNoLineBreak) {
  EXPECT_EQ(trimWhitespace("\u00a0\u1680\u2003\u202f\u205f\u3000a\u3000\u00a0"), "a");
  EXPECT_EQ(trimWhitespace(" \na\n "), "\na\n");
  EXPECT_EQ(trimWhitespace("\ra\u2028"), "\ra\u2028");
  EXPECT_EQ(trimWhitespace("\u200ba"), "\u200ba");
}

TEST(KVExtensionText, CondenseWhitespaceLeavesTheEndsAlone) {
  EXPECT_EQ(condenseWhitespace("  a    b  "), " a b ");
  EXPECT_EQ(condenseWhitespace("a b"), "a b");
  EXPECT_EQ(condenseWhitespace("\t\ta\n\n"), "\t\ta\n\n");
}

TEST(KVExtensionText, ATextOfBlanksIsBlankAndALineBreakIsNot) {
  EXPECT_TRUE(isBlank(""));
  EXPECT_TRUE(isBlank(" \t\u00a0 "));
  EXPECT_FALSE(isBlank("\n"));
  EXPECT_FALSE(isBlank(" a "));
}

TEST(KVExtensionText, ReplaceTakesEveryOccurrenceFromLeftToRight) {
  EXPECT_EQ(replace("(R)a(R)(R)b", "(R)", "-"), "-a--b");
  EXPECT_EQ(replace("aaa", "aa", "b"), "ba");
  EXPECT_EQ(replace("abc", "B", "x"), "abc");
  EXPECT_EQ(replace("aa", "a", "aa"), "aaaa");
}

TEST(KVExtensionText, AMissingReplacementRemovesAndAnEmptySearchChangesNothing) {
  EXPECT_EQ(replace("a,b,", ",", std::nullopt), "ab");
  EXPECT_EQ(replace("abc", "", "x"), "abc");
  EXPECT_EQ(replace("", "a", "x"), "");
}

TEST(KVExtensionText, FormattedNameHasNoPlaceholderAndIsTrimmed) {
  EXPECT_EQ(formattedName("Core %@ Temp "), "Core Temp");
  EXPECT_EQ(formattedName("%@%@"), "");
}

TEST(KVExtensionText, FormattedForCSVContentHasSemicolonsForCommas) {
  EXPECT_EQ(formattedForCSVContent("a,b,,c;"), "a;b;;c;");
}

TEST(KVExtensionText, MalformedTextsAreTakenAsTheyCome) {
  EXPECT_EQ(trimWhitespace(" " + kMalformed + " "), kMalformed);
  EXPECT_EQ(trimWhitespace("\xe3\x80"), "\xe3\x80");
  EXPECT_EQ(replace(kMalformed, "b", "c"), "a\xff\xc3(c");
  EXPECT_EQ(trimPattern(kMalformed, "[ab]"), "\ufffd\ufffd(");
  EXPECT_EQ(getPattern(kMalformed, "\xff"), "\ufffd");
}

TEST(KVExtensionPatterns, GetPatternIsTheFirstMatchTrimmed) {
  EXPECT_EQ(getPattern("  412  38.4 Safari", "^\\s*\\d+\\s"), "412");
  EXPECT_EQ(getPattern("a1 b22", "[a-z]\\d+"), "a1");
  EXPECT_EQ(getPattern("x  y", "x  y"), "x y");
}

TEST(KVExtensionPatterns, GetPatternIsEmptyWithoutAMatch) {
  EXPECT_EQ(getPattern("Safari", "\\d+"), "");
  EXPECT_EQ(getPattern("SAFARI", "safari"), "");
  EXPECT_EQ(getPattern("", ".*"), "");
}

TEST(KVExtensionPatterns, LineBreaksAreCharactersOfTheText) {
  EXPECT_EQ(getPattern("a\nb", "^b"), "");
  EXPECT_EQ(getPattern("a\nb", "a.b"), "");
  EXPECT_EQ(trimPattern("a\nb", "^b"), "a\nb");
}

TEST(KVExtensionPatterns, APatternThatCannotBeCompiledMatchesNowhere) {
  EXPECT_EQ(getPattern("((", "(("), "");
  EXPECT_EQ(trimPattern("((", "(("), "((");
  EXPECT_EQ(removedRegexMatchesWithPattern("((", "((", ""), "((");
}

TEST(KVExtensionPatterns, TrimPatternRemovesEveryMatchOfItsCase) {
  EXPECT_EQ(trimPattern("a1b22A", "[a\\d]"), "bA");
  EXPECT_EQ(trimPattern("$1", "1"), "$");
}

TEST(KVExtensionPatterns, RemovedRegexMatchesIgnoresCase) {
  EXPECT_EQ(removedRegexMatchesWithPattern("Apple M1 aPPLE M2", "Apple ", ""), "M1 M2");
  EXPECT_EQ(removedRegexMatchesWithPattern("none", "Apple ", ""), "none");
}

TEST(KVExtensionPatterns, ATemplateRefersToGroupsByDollarAndNumber) {
  EXPECT_EQ(removedRegexMatchesWithPattern("ab12", "([a-z]+)(\\d+)", "$2-$1"), "12-ab");
  EXPECT_EQ(removedRegexMatchesWithPattern("ab", "a", "[$0]"), "[a]b");
  EXPECT_EQ(removedRegexMatchesWithPattern("ab", "a", "\\$0"), "$0b");
  EXPECT_EQ(removedRegexMatchesWithPattern("ab", "a", "\\\\"), "\\b");
}

TEST(KVExtensionPatterns, ATemplateHasNoCharactersByNumber) {
  EXPECT_EQ(removedRegexMatchesWithPattern("ab", "a", "\\u0041"), "u0041b");
  EXPECT_EQ(removedRegexMatchesWithPattern("ab", "a", "\\U00000041"), "U00000041b");
  EXPECT_EQ(removedRegexMatchesWithPattern("ab", "a", "\\\\u0041"), "\\u0041b");
  EXPECT_EQ(removedRegexMatchesWithPattern("ab", "a", "\\u"), "ub");
}

TEST(KVExtensionPatterns, ADollarWithoutANumberIsLiteral) {
  EXPECT_EQ(removedRegexMatchesWithPattern("5 usd", " usd", "$"), "5$");
  EXPECT_EQ(removedRegexMatchesWithPattern("a", "a", "$x${y}$"), "$x${y}$");
}

TEST(KVExtensionPatterns, ATemplateCountsGroupsToNineAndTakesABackslashAtItsEndForNothing) {
  EXPECT_EQ(removedRegexMatchesWithPattern("abcdefghi", "(a)(b)(c)(d)(e)(f)(g)(h)(i)", "$9$1"),
            "ia");
  EXPECT_EQ(removedRegexMatchesWithPattern("ab", "a", "\\$x"), "$xb");
  EXPECT_EQ(removedRegexMatchesWithPattern("ab", "a", "x\\"), "xb");
}

TEST(KVExtensionPatterns, ATemplateWithAGroupThatThePatternHasNotChangesNothing) {
  EXPECT_EQ(removedRegexMatchesWithPattern("ab", "a", "$1"), "ab");
}

TEST(KVExtensionPatterns, APatternThatBacktracksWithoutEndMatchesNowhere) {
  const std::string hostile = std::string(64, 'a') + "b";
  EXPECT_EQ(getPattern(hostile, "^(a+)+$"), "");
  EXPECT_EQ(trimPattern(hostile, "^(a+)+$"), hostile);
}

TEST(KVExtensionPatterns, APatternThatExceedsTheBacktrackingLimitMatchesNothing) {
  const std::string large(8'000'000, 'a');
  EXPECT_EQ(getPattern(large, "(a|b)*c"), "");
}

constexpr const char* kLocaleVariables[] = {"LC_ALL", "LC_NUMERIC", "LC_TIME", "LC_MESSAGES",
                                            "LANG"};

// The environment of a user: only these variables of the locale.
void chooseLocale(const std::map<std::string, std::string>& variables) {
  for (const char* name : kLocaleVariables) {
    unsetenv(name);
  }
  for (const auto& [name, value] : variables) {
    setenv(name.c_str(), value.c_str(), 1);
  }
}

TEST(KVExtensionNumber, TwoFractionDigitsGroupedInEnglish) {
  chooseLocale({{"LANG", "en_US.UTF-8"}});
  EXPECT_EQ(formattedStringFromNumber(1234.5), "1,234.50");
  EXPECT_EQ(formattedStringFromNumber(0.0), "0.00");
  EXPECT_EQ(formattedStringFromNumber(-1234567.891), "-1,234,567.89");
  EXPECT_EQ(formattedStringFromNumber(std::nullopt), "0");
}

TEST(KVExtensionNumber, TwoFractionDigitsGroupedInGerman) {
  chooseLocale({{"LANG", "de_DE.UTF-8"}});
  EXPECT_EQ(formattedStringFromNumber(1234.5), "1.234,50");
  EXPECT_EQ(formattedStringFromNumber(std::nullopt), "0");
}

TEST(KVExtensionNumber, TheFormatterKeepsTheLocaleOfItsFirstUse) {
  chooseLocale({{"LANG", "de_DE.UTF-8"}});
  formattedStringFromNumber(1.0);
  chooseLocale({{"LANG", "en_US.UTF-8"}});
  EXPECT_EQ(formattedStringFromNumber(1234.5), "1.234,50");
}

TEST(KVExtensionNumber, NumbersThatAreNotFiniteHaveTheirSigns) {
  chooseLocale({{"LANG", "en_US.UTF-8"}});
  EXPECT_EQ(formattedStringFromNumber(std::nan("")), "NaN");
  EXPECT_EQ(formattedStringFromNumber(-std::nan("")), "NaN");
  EXPECT_EQ(formattedStringFromNumber(std::numeric_limits<double>::infinity()), "∞");
  EXPECT_EQ(formattedStringFromNumber(-std::numeric_limits<double>::infinity()), "-∞");
}

// One test for each: the formatter keeps the locale of its first use.
void expectEnglishNumbers() {
  EXPECT_EQ(formattedStringFromNumber(1234.5), "1,234.50");
  EXPECT_EQ(formattedStringFromNumber(std::numeric_limits<double>::infinity()), "∞");
  EXPECT_EQ(formattedStringFromNumber(std::nan("")), "NaN");
}

TEST(KVExtensionNumber, TheLocaleCIsEnglish) {
  chooseLocale({{"LANG", "C"}});
  expectEnglishNumbers();
}

TEST(KVExtensionNumber, TheLocaleCInUTF8IsEnglish) {
  chooseLocale({{"LANG", "C.UTF-8"}});
  expectEnglishNumbers();
}

TEST(KVExtensionNumber, TheLocalePOSIXIsEnglish) {
  chooseLocale({{"LC_ALL", "POSIX"}, {"LANG", "de_DE.UTF-8"}});
  expectEnglishNumbers();
}

TEST(KVExtensionNumber, NoLocaleIsEnglish) {
  chooseLocale({});
  expectEnglishNumbers();
}

TEST(KVExtensionNumber, LCNumericComesBeforeLang) {
  chooseLocale({{"LC_NUMERIC", "de_DE.UTF-8"}, {"LC_MESSAGES", "en_US.UTF-8"}, {"LANG", "C"}});
  EXPECT_EQ(formattedStringFromNumber(1234.5), "1.234,50");
}

TEST(KVExtensionNumber, LCAllComesBeforeLCNumeric) {
  chooseLocale({{"LC_ALL", "de_DE"}, {"LC_NUMERIC", "en_US.UTF-8"}});
  EXPECT_EQ(formattedStringFromNumber(1234.5), "1.234,50");
}

TEST(KVExtensionNumber, TheLanguageOfMessagesAndAnEmptyVariableDoNotCount) {
  chooseLocale({{"LC_ALL", ""}, {"LC_MESSAGES", "en_US.UTF-8"}, {"LANG", "de_DE@euro"}});
  EXPECT_EQ(formattedStringFromNumber(1234.5), "1.234,50");
}

// 2024-03-07 14:05:09 and three quarters of a second in Berlin.
Date berlinAfternoon() { return Date(std::chrono::milliseconds(1'709'816'709'750)); }

class KVExtensionDate : public ::testing::Test {
 protected:
  void SetUp() override { setenv("TZ", "Europe/Berlin", 1); }
};

TEST_F(KVExtensionDate, FormatsAreThoseOfTheTimeZoneOfTheSystem) {
  EXPECT_EQ(timeOnlyFormat(berlinAfternoon()), "14:05:09");
  EXPECT_EQ(dateOnlyFormat(berlinAfternoon()), "2024-03-07");
  EXPECT_EQ(dateTimeFormat(berlinAfternoon()), "2024-03-07 14:05:09");
  EXPECT_EQ(shortDateOnlyFormat(berlinAfternoon()), "3/07");
  EXPECT_EQ(shortTimeOnlyFormat(berlinAfternoon()), "14:05");
}

TEST_F(KVExtensionDate, TheGraphFormatIsTwoLinesWithOneLineFeed) {
  EXPECT_EQ(dateTimeFormatForGraph(berlinAfternoon()), "3/07/2024\n14:05:09");
}

TEST_F(KVExtensionDate, TheLocaleOfTheUserChangesNothing) {
  chooseLocale({{"LANG", "de_DE.UTF-8"}, {"LC_TIME", "ar_EG.UTF-8"}});
  UErrorCode status = U_ZERO_ERROR;
  icu::Locale::setDefault(icu::Locale("ar_EG@calendar=islamic"), status);
  EXPECT_EQ(dateTimeFormat(berlinAfternoon()), "2024-03-07 14:05:09");
  EXPECT_EQ(dateFormatter().stringFromDate(berlinAfternoon(), "EEE d MMM"), "Thu 7 Mar");
}

TEST_F(KVExtensionDate, InstantsBeforeTheEpochRoundDownToTheSecond) {
  EXPECT_EQ(dateTimeFormat(Date(std::chrono::microseconds(-1))), "1970-01-01 00:59:59");
}

TEST_F(KVExtensionDate, HoursHaveTwoDigitsInTheMorningToo) {
  const Date morning = berlinAfternoon() - std::chrono::hours(10);
  EXPECT_EQ(timeOnlyFormat(morning), "04:05:09");
  EXPECT_EQ(shortTimeOnlyFormat(morning), "04:05");
}

TEST_F(KVExtensionDate, TheYearIsTheCalendarsAndNotThatOfTheWeek) {
  const Date newYearsWeek = berlinAfternoon() + std::chrono::days(298);
  EXPECT_EQ(dateOnlyFormat(newYearsWeek), "2024-12-30");
  EXPECT_EQ(dateTimeFormatForGraph(newYearsWeek), "12/30/2024\n14:05:09");
}

TEST_F(KVExtensionDate, SummerTimeCounts) {
  EXPECT_EQ(shortTimeOnlyFormat(Date(std::chrono::seconds(1'720'353'909))), "14:05");
}

// January, July and the last seconds before and after both changes of 2024.
void expectCentralEuropeanTimes() {
  EXPECT_EQ(dateTimeFormat(berlinAfternoon()), "2024-03-07 14:05:09");
  EXPECT_EQ(dateTimeFormat(Date(std::chrono::seconds(1'720'353'909))), "2024-07-07 14:05:09");
  EXPECT_EQ(timeOnlyFormat(Date(std::chrono::seconds(1'711'846'799))), "01:59:59");
  EXPECT_EQ(timeOnlyFormat(Date(std::chrono::seconds(1'711'846'800))), "03:00:00");
  EXPECT_EQ(timeOnlyFormat(Date(std::chrono::seconds(1'729'990'799))), "02:59:59");
  EXPECT_EQ(timeOnlyFormat(Date(std::chrono::seconds(1'729'990'800))), "02:00:00");
}

TEST(KVExtensionTimeZone, ARuleInTZIsHonoured) {
  setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
  expectCentralEuropeanTimes();
}

TEST(KVExtensionTimeZone, ANameBehindAColonIsHonoured) {
  setenv("TZ", ":Europe/Berlin", 1);
  expectCentralEuropeanTimes();
}

// Only ICU knows the name in words; the C library's zones have but their letters.
TEST(KVExtensionTimeZone, AZoneThatICUKnowsHasItsName) {
  for (const char* const zone : {"Europe/Berlin", ":Europe/Berlin"}) {
    setenv("TZ", zone, 1);
    EXPECT_EQ(DateFormatter().stringFromDate(berlinAfternoon(), "zzzz"),
              "Central European Standard Time")
        << zone;
  }
}

TEST(KVExtensionTimeZone, ARuleWithoutSummerTimeIsHonoured) {
  setenv("TZ", "<+0545>-5:45", 1);
  EXPECT_EQ(dateTimeFormat(berlinAfternoon()), "2024-03-07 18:50:09");
}

// Rules of the C library, in which a zone behind Greenwich has a positive sign.
TEST(KVExtensionTimeZone, ARuleThatLooksLikeANameIsHonoured) {
  for (const auto& [zone, time] :
       {std::pair("GMT-5:30", "18:35:09"), std::pair("GMT+3:30", "09:35:09"),
        std::pair("GMT+3", "10:05:09"), std::pair("GMT+03:00", "10:05:09"),
        std::pair("GMT+1:00:00", "12:05:09"), std::pair("UTC-5:30", "18:35:09"),
        std::pair("Etc/GMT+5", "08:05:09"), std::pair("EST5EDT", "08:05:09")}) {
    setenv("TZ", zone, 1);
    EXPECT_EQ(DateFormatter().stringFromDate(berlinAfternoon(), "HH:mm:ss"), time) << zone;
  }
}

TEST(KVExtensionTimeZone, AnEmptyTZIsUniversalTime) {
  setenv("TZ", "", 1);
  EXPECT_EQ(dateTimeFormat(berlinAfternoon()), "2024-03-07 13:05:09");
}

TEST_F(KVExtensionDate, OneFormatterHandlesEveryPatternOnEveryThread) {
  EXPECT_EQ(&dateFormatter(), &dateFormatter());
  EXPECT_EQ(dateFormatter().stringFromDate(berlinAfternoon(), "EEE d MMM"), "Thu 7 Mar");
  std::vector<std::string> wrong(4);
  std::vector<std::thread> threads;
  threads.reserve(wrong.size());
  for (std::string& text : wrong) {
    threads.emplace_back([&text] {
      for (int round = 0; round < 500 && text.empty(); ++round) {
        const std::string both = dateTimeFormatForGraph(berlinAfternoon());
        if (both != "3/07/2024\n14:05:09") {
          text = both;
        }
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(wrong, std::vector<std::string>(4));
}

}  // namespace
}  // namespace kelvora::KVExtension
