#include "base/PropertyListFile.h"

#include <algorithm>
#include <limits>
#include <random>
#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/support/TemporaryFolder.h"

namespace kelvora::platform {
namespace {

using Array = PropertyListValue::Array;
using Data = PropertyListValue::Data;
using Dictionary = PropertyListValue::Dictionary;
using std::chrono::microseconds;
using std::chrono::sys_days;
using std::chrono::year;

std::span<const std::byte> bytesOf(std::string_view text) { return std::as_bytes(std::span(text)); }

Dictionary everyKind() {
  const PropertyListValue::Date date = sys_days(year{2024} / 3 / 7) + microseconds(1'250'000);
  return {{"yes", true},
          {"no", false},
          {"zero", 0},
          {"negative", -5},
          {"largest", std::numeric_limits<std::int64_t>::max()},
          {"smallest", std::numeric_limits<std::int64_t>::min()},
          {"real", 113.9},
          {"text", "Größe °C 温度 🌡"},
          {"empty", ""},
          {"data", Data{std::byte{0}, std::byte{255}, std::byte{7}}},
          {"no data", Data{}},
          {"date", date},
          {"before 2001", PropertyListValue::Date(sys_days(year{1999} / 12 / 31))},
          {"list", Array{"TC0P", 1, Array{}}},
          {"items", Array{Dictionary{{"main_sensor", true}}, Dictionary{}}}};
}

class PropertyListFormats : public ::testing::TestWithParam<PropertyListFormat> {};

INSTANTIATE_TEST_SUITE_P(PropertyListFile, PropertyListFormats,
                         ::testing::Values(PropertyListFormat::kBinary, PropertyListFormat::kXML));

TEST_P(PropertyListFormats, EveryKindOfValueComesBackEqual) {
  Dictionary values = everyKind();
  if (GetParam() == PropertyListFormat::kXML) {
    values.at("date") =
        PropertyListValue::Date(sys_days(year{2024} / 3 / 7));  // whole seconds only
  }
  const PropertyListReading reading = parsePropertyList(serializePropertyList(values, GetParam()));
  ASSERT_EQ(reading.failure, "");
  EXPECT_EQ(*reading.value, PropertyListValue(values));
}

TEST_P(PropertyListFormats, AFileCutShortAnywhereIsRefused) {
  const auto bytes = serializePropertyList(everyKind(), GetParam());
  const std::string_view end = "\n</plist>\n";
  const std::size_t needed = GetParam() == PropertyListFormat::kXML ? bytes.size() - end.size() : 0;
  for (std::size_t length = 0; length < (needed != 0 ? needed : bytes.size()); ++length) {
    const PropertyListReading reading = parsePropertyList(std::span(bytes).first(length));
    ASSERT_FALSE(reading.value) << length;
    ASSERT_NE(reading.failure, "") << length;
  }
}

TEST_P(PropertyListFormats, TextThatIsNotUTF8IsWrittenWithReplacementCharacters) {
  const Dictionary values{{"a\xff", "b\xc3"}};
  const PropertyListReading reading = parsePropertyList(serializePropertyList(values, GetParam()));
  ASSERT_EQ(reading.failure, "");
  EXPECT_EQ(*reading.value, PropertyListValue(Dictionary{{"a\uFFFD", "b\uFFFD"}}));
}

TEST(PropertyListFile, AnInstantBeyondTheFormatsRangeIsWrittenAsTheNearest) {
  const PropertyListValue::Date far = sys_days(year{2200} / 1 / 1);
  const auto reading = parsePropertyList(serializePropertyList(far, PropertyListFormat::kBinary));
  ASSERT_EQ(reading.failure, "");
  const auto* date = reading.value->as<PropertyListValue::Date>();
  ASSERT_NE(date, nullptr);
  EXPECT_EQ(std::chrono::floor<std::chrono::days>(*date), sys_days(year{2069} / 1 / 19));
}

TEST(PropertyListFile, RandomBytesAreRefused) {
  std::mt19937 random(7);
  for (int round = 0; round < 2000; ++round) {
    std::string bytes(random() % 200, '\0');
    for (char& byte : bytes) {
      byte = static_cast<char>(random());
    }
    ASSERT_FALSE(parsePropertyList(bytesOf(bytes)).value) << round;
  }
}

TEST(PropertyListFile, DamagedBytesAreReadOrRefusedButNeverFatal) {
  const auto whole = serializePropertyList(everyKind(), PropertyListFormat::kBinary);
  std::mt19937 random(11);
  for (int round = 0; round < 5000; ++round) {
    auto bytes = whole;
    bytes[random() % bytes.size()] = static_cast<std::byte>(random());
    const PropertyListReading reading = parsePropertyList(bytes);
    ASSERT_EQ(reading.value.has_value(), reading.failure.empty());
  }
}

TEST(PropertyListFile, AKeyWithANulIsRefused) {
  for (const char* reference : {"&#0;", "&#x00;", "&#X0;"}) {
    const std::string xml =
        std::string("<plist><dict><key>a") + reference + "b</key><true/></dict></plist>";
    EXPECT_EQ(parsePropertyList(bytesOf(xml)).failure, "holds a text with a NUL") << reference;
  }
  for (const char* key : {"key", "längerer Schlüssel"}) {
    auto bytes = serializePropertyList(Dictionary{{key, true}}, PropertyListFormat::kBinary);
    const auto last = std::find(bytes.begin(), bytes.end(), std::byte{'e'});
    ASSERT_NE(last, bytes.end());
    *last = std::byte{0};
    EXPECT_EQ(parsePropertyList(bytes).failure, "holds a text with a NUL") << key;
  }
}

TEST(PropertyListFile, AnArchiveReferenceIsRefused) {
  std::string bytes = "bplist00";
  bytes += "\x80\x01";                      // the reference
  bytes += "\x08";                          // where it is
  bytes.append(6, '\0').append(2, '\x01');  // widths of an offset and of a reference
  bytes.append(7, '\0').append(1, '\x01');  // one object
  bytes.append(8, '\0');                    // the root is the first
  bytes.append(7, '\0').append(1, '\x0a');  // where the offsets are
  const PropertyListReading reading = parsePropertyList(bytesOf(bytes));
  EXPECT_EQ(reading.failure, "holds a value that is no property-list value");
}

TEST(PropertyListFile, NestingBeyondAHundredLevelsIsRefused) {
  PropertyListValue nested(Array{});
  for (int level = 0; level < 100; ++level) {
    nested = PropertyListValue(Array{nested});
  }
  const auto bytes = serializePropertyList(nested, PropertyListFormat::kBinary);
  EXPECT_EQ(parsePropertyList(bytes).failure, "");
  const auto deeper = serializePropertyList(Array{nested}, PropertyListFormat::kBinary);
  EXPECT_EQ(parsePropertyList(deeper).failure, "nested too deeply");
}

TEST(PropertyListFile, AMissingFileReportsTheSystemsError) {
  const testing::TemporaryFolder folder;
  EXPECT_EQ(readPropertyListFile(folder.path("none.plist")).failure, "No such file or directory");
}

TEST(PropertyListFile, OnlyARegularFileIsReadAndOpeningNeverBlocks) {
  const testing::TemporaryFolder folder;
  ASSERT_EQ(mkfifo(folder.path("pipe.plist").c_str(), 0600), 0);
  EXPECT_EQ(readPropertyListFile(folder.path("pipe.plist")).failure, "not a file");
  EXPECT_EQ(readPropertyListFile(folder.path("")).failure, "not a file");
  EXPECT_EQ(readPropertyListFile("/dev/zero").failure, "not a file");
}

TEST(PropertyListFile, AFileBeyondTheLimitIsRefused) {
  const testing::TemporaryFolder folder;
  const std::string start = "<plist version=\"1.0\"><string>";
  const std::string end = "</string></plist>";
  const std::string inside(4096 - start.size() - end.size(), 'x');
  folder.write("most.plist", start + inside + end);
  folder.write("more.plist", start + inside + "x" + end);
  EXPECT_EQ(readPropertyListFile(folder.path("most.plist"), 4096).value, PropertyListValue(inside));
  EXPECT_EQ(readPropertyListFile(folder.path("more.plist"), 4096).failure, "larger than 4 KB");
}

TEST(PropertyListFile, AFileIsReadInEitherFormat) {
  const testing::TemporaryFolder folder;
  folder.write("Info.plist",
               "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">"
               "<dict><key>CFBundleVersion</key><string>412</string></dict></plist>");
  const PropertyListReading reading = readPropertyListFile(folder.path("Info.plist"));
  ASSERT_EQ(reading.failure, "");
  EXPECT_EQ(*reading.value, PropertyListValue(Dictionary{{"CFBundleVersion", "412"}}));
}

}  // namespace
}  // namespace kelvora::platform
