#include "presentation/StringsTable.h"

#include <random>
#include <string_view>

#include <gtest/gtest.h>
#include <sys/mman.h>

namespace kelvora {
namespace {

StringsTableReading parse(std::string_view text) {
  return parseStringsTable(std::as_bytes(std::span(text)));
}

std::string utf16(std::u16string_view text, bool bigEndian) {
  std::string bytes;
  for (const char16_t unit : text) {
    const char high = static_cast<char>(unit >> 8U);
    const char low = static_cast<char>(unit & 0xFFU);
    bytes += bigEndian ? high : low;
    bytes += bigEndian ? low : high;
  }
  return bytes;
}

TEST(StringsTable, EntriesMayBeBetweenCommentsOfBothKinds) {
  const auto reading = parse(
      "/* Categories; \"no\" = \"entry\"; */\n"
      "\"category-fan-name\" = \"Fans\"; // spinning\n"
      "//\"out\" = \"of use\";\n"
      "  \"Temp-%@\"\t=\n\"%@ Temperature\" ;/**/\"a\"=\"b\";");
  EXPECT_EQ(reading.failure, "");
  EXPECT_EQ(
      reading.table,
      (StringsTable{{"category-fan-name", "Fans"}, {"Temp-%@", "%@ Temperature"}, {"a", "b"}}));
}

TEST(StringsTable, ACommentsOwnStarDoesNotEndIt) {
  EXPECT_EQ(parse("/*/ a = b; */ c = d;").table, (StringsTable{{"c", "d"}}));
}

TEST(StringsTable, AnEscapeTakesNoMoreDigitsThanItsOwn) {
  EXPECT_EQ(parse(R"("a" = "\U00e9ab \1011";)").table, (StringsTable{{"a", "\u00e9ab A1"}}));
}

TEST(StringsTable, EscapesGiveTheirCharacters) {
  const auto reading = parse(R"("a" = "1\n2\t3\"4\\5\r\a\b\f\v\'\q";
"b" = "\U00e9\u00E9 \U4e2d \UD83C\UDF21 \101\0601\75\78"; 'c' = 'it\'s "so"';)");
  EXPECT_EQ(reading.failure, "");
  EXPECT_EQ(reading.table, (StringsTable{{"a", "1\n2\t3\"4\\5\r\a\b\f\v'q"},
                                         {"b", "éé 中 🌡 A01=\a8"},
                                         {"c", "it's \"so\""}}));
}

TEST(StringsTable, WordsNeedNoQuotesAndAKeyAloneIsItsOwnText) {
  const auto reading = parse("key = word; path/to.file-1 = $a_b:c; alone; \"also alone\";");
  EXPECT_EQ(reading.failure, "");
  EXPECT_EQ(reading.table, (StringsTable{{"key", "word"},
                                         {"path/to.file-1", "$a_b:c"},
                                         {"alone", "alone"},
                                         {"also alone", "also alone"}}));
}

TEST(StringsTable, BracesMayEncloseTheEntries) {
  EXPECT_EQ(parse("{ a = b; }").table, (StringsTable{{"a", "b"}}));
  EXPECT_EQ(parse("{}").table, StringsTable());
  EXPECT_EQ(parse("{ a = b;").failure, "line 1: '}' expected");
  EXPECT_EQ(parse("{ a = b; } c = d;").failure, "line 1: nothing more expected");
}

TEST(StringsTable, ALaterEntryOfTheSameKeyCounts) {
  EXPECT_EQ(parse("a = b; a = c;").table, (StringsTable{{"a", "c"}}));
}

TEST(StringsTable, AnEmptyFileIsAnEmptyTable) {
  EXPECT_EQ(parse("").table, StringsTable());
  EXPECT_EQ(parse(" \n// nothing").table, StringsTable());
}

TEST(StringsTable, UTF8AndUTF16AreReadWithAndWithoutTheirMarks) {
  const std::u16string text = u"\"a\" = \"Größe 温度 \U0001F321\";";
  const StringsTable table{{"a", "Größe 温度 🌡"}};
  EXPECT_EQ(parse("\"a\" = \"Größe 温度 🌡\";").table, table);
  EXPECT_EQ(parse("\uFEFF\"a\" = \"Größe 温度 🌡\";").table, table);
  for (const bool bigEndian : {true, false}) {
    EXPECT_EQ(parse(utf16(text, bigEndian)).table, table);
    EXPECT_EQ(parse(utf16(u"\uFEFF" + text, bigEndian)).table, table);
  }
}

TEST(StringsTable, ACompiledTableIsReadToo) {
  const auto reading = parse(
      "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>a</key><string>b</string>"
      "<key>plural</key><dict/></dict></plist>");
  EXPECT_EQ(reading.table, (StringsTable{{"a", "b"}}));
  EXPECT_EQ(parse("<plist><array/></plist>").failure, "not a dictionary");
  EXPECT_EQ(parse("bplist00").failure, "not a property list");
}

TEST(StringsTable, AFaultNamesItsLine) {
  EXPECT_EQ(parse("a = b;\n\nc = d\ne = f;").failure, "line 4: ';' expected");
  EXPECT_EQ(parse("\"a\" = \"b;\n").failure, "line 2: a text does not end");
  EXPECT_EQ(parse("a = b;\n/* c").failure, "line 2: a comment does not end");
  EXPECT_EQ(parse("a = ;").failure, "line 1: a text expected");
  EXPECT_EQ(parse("= b;").failure, "line 1: a text expected");
  EXPECT_EQ(parse("é = b;").failure, "line 1: a text expected");
  EXPECT_EQ(parse("a = { b = c; };").failure, "line 1: a text expected");
  EXPECT_EQ(parse("a = \"b\\").failure, "line 1: a text does not end");
  EXPECT_FALSE(parse("a = ;").table);
}

// Memory that is never touched, so it costs nothing.
TEST(StringsTable, AFileTooLargeForATextIsRefused) {
  constexpr std::size_t kBytes = (std::size_t{1} << 30U) + 1;
  void* const memory =
      mmap(nullptr, kBytes, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  ASSERT_NE(memory, MAP_FAILED);
  EXPECT_EQ(parseStringsTable(std::span(static_cast<const std::byte*>(memory), kBytes)).failure,
            "too large");
  munmap(memory, kBytes);
}

TEST(StringsTable, AnyBytesAreReadOrRefused) {
  std::mt19937 random(3);
  const std::string_view alphabet = "\"'\\=;{}/*ab U0\n\xc3\xa9";
  for (int round = 0; round < 20'000; ++round) {
    std::string text;
    for (std::size_t length = random() % 24; text.size() < length;) {
      text += round % 4 == 0 ? static_cast<char>(random()) : alphabet[random() % alphabet.size()];
    }
    const auto reading = parse(text);
    ASSERT_EQ(reading.table.has_value(), reading.failure.empty()) << text;
  }
}

}  // namespace
}  // namespace kelvora
