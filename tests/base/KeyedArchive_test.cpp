#include "base/KeyedArchive.h"

#include <limits>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/ArchiveText.h"
#include "tests/support/ChildProgram.h"
#include "tests/support/TemporaryFolder.h"

namespace kelvora {
namespace {

using testing::archiveOfObjects;
using testing::archiveOfXML;
using Array = ArchiveValue::Array;
using Data = ArchiveValue::Data;
using Dictionary = ArchiveValue::Dictionary;
using Object = ArchiveValue::Object;
using std::chrono::microseconds;
using std::chrono::sys_days;
using std::chrono::year;

const std::vector<std::string> kEveryClass = {
    "NSArray", "NSDictionary", "NSString", "NSNumber", "NSDate", "NSData", "KVNotification"};

std::optional<ArchiveValue> rootOf(const std::vector<std::byte>& bytes,
                                   const std::vector<std::string>& allowed = kEveryClass) {
  return readKeyedArchive(bytes, allowed);
}

std::string classRecord(const std::string& name) {
  return "<dict><key>$classname</key><string>" + name +
         "</string><key>$classes</key><array><string>" + name +
         "</string><string>NSObject</string></array></dict>";
}

// An array object of these items, whose class is the object of that index.
std::string arrayObject(const std::string& items, int classIndex) {
  return "<dict><key>NS.objects</key><array>" + items + "</array><key>$class</key>@" +
         std::to_string(classIndex) + "@</dict>";
}

ArchiveValue everyKind() {
  const ArchiveValue::Date date = sys_days(year{2024} / 3 / 7) + microseconds(1'250'001);
  return Dictionary{
      {"yes", true},
      {"no", false},
      {"zero", std::int64_t{0}},
      {"negative", std::int64_t{-5}},
      {"largest", std::numeric_limits<std::int64_t>::max()},
      {"smallest", std::numeric_limits<std::int64_t>::min()},
      {"real", 113.9},
      {"text", "Größe °C 温度 🌡"},
      {"empty", ""},
      {"null text", "$null"},
      {"data", Data{std::byte{0}, std::byte{255}}},
      {"date", date},
      {"old date", ArchiveValue::Date(sys_days(year{1969} / 12 / 31))},
      {"list", Array{"TC0P", Array{}, Dictionary{}}},
      {"rule", Object{"KVNotification", {{"sensorKey", "TC0P"}, {"lastTimeFired", {}}}}}};
}

TEST(KeyedArchive, EveryKindOfValueComesBackEqual) {
  EXPECT_EQ(rootOf(keyedArchive(everyKind())), everyKind());
  EXPECT_EQ(rootOf(keyedArchive(ArchiveValue())), ArchiveValue());
  EXPECT_EQ(rootOf(keyedArchive("text")), ArchiveValue("text"));
}

TEST(KeyedArchive, NamedFieldsKeepTheirOrder) {
  const Object object{"KVNotification", {{"b", "1"}, {"a", "2"}, {"c", "3"}}};
  const auto read = rootOf(keyedArchive(object));
  ASSERT_TRUE(read.has_value());
  EXPECT_EQ(read->as<Object>()->names, (std::vector<std::string>{"b", "a", "c"}));
  EXPECT_EQ(*object.value("a"), ArchiveValue("2"));
  EXPECT_EQ(object.value("d"), nullptr);
}

TEST(KeyedArchive, TheSystemsArchiveOfAListIsRead) {
  // As the system's archiver writes a list of one object with a text, a whole and a decimal number,
  // a boolean, a date and a missing value.
  const auto bytes = archiveOfObjects(
      "<dict><key>NS.objects</key><array>@2@</array><key>$class</key>@7@</dict>"
      "<dict><key>sensorKey</key>@3@<key>threshold</key>@4@<key>active</key>@8@"
      "<key>repeat</key><integer>3</integer><key>lastTimeFired</key>@5@<key>sensorName</key>@0@"
      "<key>$class</key>@9@</dict>"
      "<string>TC0P</string><real>70.5</real>"
      "<dict><key>NS.time</key><real>731000000.25</real><key>$class</key>@6@</dict>" +
      classRecord("NSDate") + classRecord("NSMutableArray") + "<true/>" +
      classRecord("KVNotification"));
  const ArchiveValue::Date date =
      kPropertyListReferenceDate + std::chrono::milliseconds(731000000250);
  const Object object{"KVNotification",
                      {{"sensorKey", "TC0P"},
                       {"threshold", 70.5},
                       {"active", true},
                       {"repeat", std::int64_t{3}},
                       {"lastTimeFired", date},
                       {"sensorName", {}}}};
  EXPECT_EQ(rootOf(bytes), ArchiveValue(Array{object}));
}

TEST(KeyedArchive, MutableClassesCountAsTheirImmutableOnes) {
  EXPECT_EQ(
      rootOf(archiveOfObjects(arrayObject("", 2) + classRecord("NSMutableArray")), {"NSArray"}),
      ArchiveValue(Array{}));
  for (const char* name : {"NSString", "NSMutableString"}) {
    EXPECT_EQ(rootOf(archiveOfObjects(
                         "<dict><key>NS.string</key><string>a</string><key>$class</key>@2@</dict>" +
                         classRecord(name)),
                     {"NSString"}),
              ArchiveValue("a"));
  }
  EXPECT_EQ(rootOf(archiveOfObjects(
                       "<dict><key>NS.data</key><data>AAE=</data><key>$class</key>@2@</dict>" +
                       classRecord("NSMutableData")),
                   {"NSData"}),
            ArchiveValue(Data{std::byte{0}, std::byte{1}}));
  for (const char* name : {"NSDictionary", "NSMutableDictionary"}) {
    EXPECT_EQ(
        rootOf(archiveOfObjects("<dict><key>NS.keys</key><array>@3@</array>"
                                "<key>NS.objects</key><array>@4@</array>"
                                "<key>$class</key>@2@</dict>" +
                                classRecord(name) + "<string>F0</string><integer>9</integer>"),
               {"NSDictionary", "NSString", "NSNumber"}),
        ArchiveValue(Dictionary{{"F0", std::int64_t{9}}}));
  }
}

TEST(KeyedArchive, PlainValuesMayReplaceAReference) {
  const auto bytes =
      archiveOfObjects(arrayObject("<string>a</string><integer>1</integer><true/><real>0.5</real>"
                                   "<date>2024-03-07T00:00:00Z</date>",
                                   2) +
                       classRecord("NSArray"));
  const ArchiveValue::Date date = sys_days(year{2024} / 3 / 7);
  EXPECT_EQ(rootOf(bytes), ArchiveValue(Array{"a", std::int64_t{1}, true, 0.5, date}));
}

TEST(KeyedArchive, AClassThatIsNotAllowedIsRefused) {
  const std::vector<std::pair<std::string, ArchiveValue>> values = {
      {"NSArray", Array{}},
      {"NSDictionary", Dictionary{}},
      {"NSString", "a"},
      {"NSNumber", true},
      {"NSNumber", std::int64_t{1}},
      {"NSNumber", 0.5},
      {"NSDate", ArchiveValue::Date()},
      {"NSData", Data{}},
      {"KVNotification", Object("KVNotification")}};
  for (const auto& [name, value] : values) {
    std::vector<std::string> others = kEveryClass;
    std::erase(others, name);
    EXPECT_EQ(rootOf(keyedArchive(value), others), std::nullopt) << name;
    EXPECT_EQ(rootOf(keyedArchive(value), {name}), value) << name;
  }
  EXPECT_EQ(rootOf(keyedArchive(Object("NSTask"))), std::nullopt);
}

TEST(KeyedArchive, AClassThatIsNotAllowedIsRefusedAtAnyDepth) {
  const Object rule{"KVNotification", {{"sensorKey", Array{Object("NSTask")}}}};
  EXPECT_EQ(rootOf(keyedArchive(Array{rule})), std::nullopt);
  EXPECT_NE(rootOf(keyedArchive(Array{rule}), {"NSArray", "KVNotification", "NSTask"}),
            std::nullopt);
}

TEST(KeyedArchive, ReferencesThatLeadNowhereAreRefused) {
  const std::string array = classRecord("NSArray");
  EXPECT_NE(rootOf(archiveOfObjects(arrayObject("@2@", 3) + "<string>a</string>" + array)),
            std::nullopt);
  EXPECT_EQ(rootOf(archiveOfObjects(arrayObject("@4@", 3) + "<string>a</string>" + array)),
            std::nullopt);
  EXPECT_EQ(rootOf(archiveOfObjects(arrayObject("", 4) + "<string>a</string>" + array)),
            std::nullopt);
  EXPECT_EQ(rootOf(archiveOfObjects("")), std::nullopt);
}

TEST(KeyedArchive, CyclesAreRefused) {
  const std::string array = classRecord("NSArray");
  EXPECT_EQ(rootOf(archiveOfObjects(arrayObject("@1@", 2) + array)), std::nullopt);
  EXPECT_EQ(rootOf(archiveOfObjects(arrayObject("@3@", 2) + array + arrayObject("@1@", 2))),
            std::nullopt);
  EXPECT_EQ(rootOf(archiveOfObjects("<dict><key>me</key>@1@<key>$class</key>@2@</dict>" +
                                    classRecord("KVNotification"))),
            std::nullopt);
}

TEST(KeyedArchive, OneObjectMayBeReferredToTwice) {
  const auto bytes = archiveOfObjects(arrayObject("@3@@3@", 2) + classRecord("NSArray") +
                                      arrayObject("<true/>", 2));
  EXPECT_EQ(rootOf(bytes), ArchiveValue(Array{Array{true}, Array{true}}));
}

TEST(KeyedArchive, ObjectsOfTheWrongKindAreRefused) {
  const std::string array = classRecord("NSArray");
  const std::string dictionary = classRecord("NSDictionary");
  const std::string date = classRecord("NSDate");
  const std::string text = classRecord("NSString");
  const std::vector<std::string> objects = {
      "<dict><key>NS.objects</key><string>a</string><key>$class</key>@2@</dict>" + array,
      "<dict><key>$class</key>@2@</dict>" + array,
      "<dict><key>NS.objects</key><array/></dict>" + array,
      "<dict><key>NS.objects</key><array/><key>$class</key><integer>2</integer></dict>" + array,
      "<dict><key>NS.objects</key><array/><key>$class</key>@2@</dict><string>NSArray</string>",
      "<dict><key>NS.objects</key><array/><key>$class</key>@2@</dict>"
      "<dict><key>$classname</key><integer>1</integer></dict>",
      "<array/>",
      arrayObject("<array/>", 2) + array,
      arrayObject("<dict/>", 2) + array,
      "<dict><key>NS.keys</key><array>@3@</array><key>NS.objects</key><array/>"
      "<key>$class</key>@2@</dict>" +
          dictionary + "<string>a</string>",
      "<dict><key>NS.keys</key><array>@3@</array><key>NS.objects</key><array>@3@</array>"
      "<key>$class</key>@2@</dict>" +
          dictionary + "<integer>1</integer>",
      "<dict><key>NS.objects</key><array/><key>$class</key>@2@</dict>" + dictionary,
      "<dict><key>NS.time</key><string>5</string><key>$class</key>@2@</dict>" + date,
      "<dict><key>NS.time</key><true/><key>$class</key>@2@</dict>" + date,
      "<dict><key>NS.time</key><real>nan</real><key>$class</key>@2@</dict>" + date,
      "<dict><key>$class</key>@2@</dict>" + date,
      "<dict><key>NS.string</key><integer>5</integer><key>$class</key>@2@</dict>" + text,
      "<dict><key>NS.data</key><string>a</string><key>$class</key>@2@</dict>" +
          classRecord("NSData")};
  for (const std::string& object : objects) {
    EXPECT_EQ(rootOf(archiveOfObjects(object)), std::nullopt) << object;
  }
}

TEST(KeyedArchive, APropertyListThatIsNotAnArchiveIsRefused) {
  const std::string version = "<key>$version</key><integer>100000</integer>";
  const std::string archiver = "<key>$archiver</key><string>NSKeyedArchiver</string>";
  const std::string top = "<key>$top</key><dict><key>root</key>@1@</dict>";
  const std::string objects =
      "<key>$objects</key><array><string>$null</string><string>a</string></array>";
  const auto read = [](const std::string& text) { return rootOf(archiveOfXML(text)); };
  EXPECT_EQ(read("<dict>" + version + archiver + top + objects + "</dict>"), ArchiveValue("a"));
  EXPECT_EQ(read("<dict>" + archiver + top + objects + "</dict>"), std::nullopt);
  EXPECT_EQ(read("<dict>" + version + top + objects + "</dict>"), std::nullopt);
  EXPECT_EQ(read("<dict>" + version + archiver + objects + "</dict>"), std::nullopt);
  EXPECT_EQ(read("<dict>" + version + archiver + top + "</dict>"), std::nullopt);
  EXPECT_EQ(read("<dict><key>$version</key><integer>100001</integer>" + archiver + top + objects +
                 "</dict>"),
            std::nullopt);
  EXPECT_EQ(read("<dict>" + version + "<key>$archiver</key><string>NSArchiver</string>" + top +
                 objects + "</dict>"),
            std::nullopt);
  EXPECT_EQ(read("<dict>" + version + archiver + "<key>$top</key><dict/>" + objects + "</dict>"),
            std::nullopt);
  EXPECT_EQ(read("<array>" + top + "</array>"), std::nullopt);
  EXPECT_EQ(read("<string>a</string>"), std::nullopt);
}

TEST(KeyedArchive, AnXMLArchiveWithoutReferencesHasNoRoot) {
  const std::string_view xml =
      "<plist><dict><key>$version</key><integer>100000</integer></dict></plist>";
  EXPECT_EQ(readKeyedArchive(std::as_bytes(std::span(xml)), kEveryClass), std::nullopt);
  EXPECT_EQ(readKeyedArchive({}, kEveryClass), std::nullopt);
}

TEST(KeyedArchive, NestingBeyondAHundredLevelsIsRefused) {
  ArchiveValue nested = Array{};
  for (int level = 1; level < 100; ++level) {
    nested = Array{nested};
  }
  EXPECT_EQ(rootOf(keyedArchive(nested)), nested);
  EXPECT_EQ(rootOf(keyedArchive(Array{nested})), std::nullopt);
}

// Lists that each refer to the next one so many times; the last one is empty.
std::string listsOfLists(int levels, int references) {
  std::string objects;
  for (int level = 1; level <= levels; ++level) {
    std::string items;
    for (int i = 0; i < references && level < levels; ++i) {
      items += "@" + std::to_string(level + 1) + "@";
    }
    objects += arrayObject(items, levels + 1);
  }
  return objects + classRecord("NSArray");
}

TEST(KeyedArchive, AnArchiveThatUnfoldsToFarMoreThanItsBytesIsRefused) {
  EXPECT_NE(rootOf(archiveOfObjects(listsOfLists(5, 10))), std::nullopt);
  EXPECT_EQ(rootOf(archiveOfObjects(listsOfLists(30, 10))), std::nullopt);
}

TEST(KeyedArchive, ALargeTextThatIsReferredToOftenIsRefused) {
  std::string references;
  for (int i = 0; i < 1000; ++i) {
    references += "@3@";
  }
  const auto archive = [&](std::size_t length) {
    return archiveOfObjects(arrayObject(references, 2) + classRecord("NSArray") + "<string>" +
                            std::string(length, 'a') + "</string>");
  };
  EXPECT_NE(rootOf(archive(1000)), std::nullopt);
  EXPECT_EQ(rootOf(archive(100'000)), std::nullopt);
}

TEST(KeyedArchive, ALongFieldNameThatIsReferredToOftenIsRefused) {
  std::string references;
  for (int i = 0; i < 1000; ++i) {
    references += "@3@";
  }
  const auto bytes =
      archiveOfObjects(arrayObject(references, 2) + classRecord("NSArray") + "<dict><key>" +
                       std::string(100'000, 'a') + "</key><true/><key>$class</key>@4@</dict>" +
                       classRecord("KVNotification"));
  EXPECT_EQ(rootOf(bytes), std::nullopt);
}

TEST(KeyedArchive, AnObjectOfManyUnusedFieldsThatIsReferredToOftenIsRefused) {
  std::string references;
  std::string fields;
  for (int i = 0; i < 500; ++i) {
    references += "@3@";
    fields += "<key>" + std::to_string(i) + "</key><true/>";
  }
  const auto archive = [&](const std::string& unused) {
    return archiveOfObjects(arrayObject(references, 2) + classRecord("NSArray") + "<dict>" +
                            unused + "<key>NS.objects</key><array/><key>$class</key>@2@</dict>");
  };
  EXPECT_NE(rootOf(archive("")), std::nullopt);
  EXPECT_EQ(rootOf(archive(fields)), std::nullopt);
}

TEST(KeyedArchive, DatesBeyondTheClocksRangeGiveTheNearest) {
  const auto dateOf = [](const std::string& seconds) {
    const auto read =
        rootOf(archiveOfObjects("<dict><key>NS.time</key>" + seconds +
                                "<key>$class</key>@2@</dict>" + classRecord("NSDate")));
    return std::chrono::floor<std::chrono::days>(*read->as<ArchiveValue::Date>());
  };
  EXPECT_EQ(dateOf("<integer>86400</integer>"), sys_days(year{2001} / 1 / 2));
  EXPECT_EQ(dateOf("<real>63113904000</real>"), sys_days(year{2262} / 4 / 11));   // the year 4001
  EXPECT_EQ(dateOf("<real>-63114076800</real>"), sys_days(year{1677} / 9 / 21));  // the year 1
  EXPECT_EQ(dateOf("<real>1e300</real>"), sys_days(year{2262} / 4 / 11));
}

TEST(KeyedArchive, EachClassIsRecordedOnce) {
  Array rules(100, Object("KVNotification"));
  const auto bytes = keyedArchive(rules);
  const std::string text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  EXPECT_EQ(text.find("$classname"), text.rfind("$classname"));
  const PropertyListNodes nodes = parsePropertyListNodes(bytes);
  // "$null", the list, its items and the two classes.
  EXPECT_EQ(plist_array_get_size(plist_dict_get_item(nodes.root.get(), "$objects")), 104U);
}

TEST(KeyedArchive, DamagedBytesAreReadOrRefusedButNeverFatal) {
  const auto whole = keyedArchive(everyKind());
  std::mt19937 random(11);
  for (int round = 0; round < 5000; ++round) {
    auto bytes = whole;
    bytes[random() % bytes.size()] = static_cast<std::byte>(random());
    if (const auto read = rootOf(bytes)) {
      ASSERT_TRUE(rootOf(keyedArchive(*read))) << round;
    }
  }
  for (std::size_t length = 0; length < whole.size(); ++length) {
    ASSERT_EQ(readKeyedArchive(std::span(whole).first(length), kEveryClass), std::nullopt);
  }
}

TEST(KeyedArchive, PythonReadsWhatIsWrittenAndWritesWhatIsRead) {
  const testing::TemporaryFolder folder;
  const auto bytes = keyedArchive(everyKind());
  folder.write("archive", std::string(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
  const std::string script = std::string(KELVORA_TEST_DATA) + "/base/keyed_archive_test.py";
  const auto result = testing::runProgram(
      "/usr/bin/env", {"python3", script, folder.path("archive"), folder.path("again")});
  EXPECT_EQ(result.status, 0) << result.standardError;
  EXPECT_EQ(result.standardOutput,
            "data=b'\\x00\\xff'\n"
            "date=2024-03-07 00:00:01.250001\n"
            "empty=''\n"
            "largest=9223372036854775807\n"
            "list=['TC0P', [], {}]\n"
            "negative=-5\n"
            "no=False\n"
            "null text='$null'\n"
            "old date=1969-12-31 00:00:00\n"
            "real=113.9\n"
            "rule=KVNotification(sensorKey='TC0P', lastTimeFired=None)\n"
            "smallest=-9223372036854775808\n"
            "text='Größe °C 温度 🌡'\n"
            "yes=True\n"
            "zero=0\n");
  const std::string again = folder.read("again");
  EXPECT_EQ(readKeyedArchive(std::as_bytes(std::span(again)), kEveryClass), everyKind());
}

TEST(ArchiveValue, PropertyListValuesConvertBothWays) {
  const PropertyListValue value = PropertyListValue::Dictionary{
      {"a", true},
      {"b", 1},
      {"c", 0.5},
      {"d", "text"},
      {"e", PropertyListValue::Data{std::byte{1}}},
      {"f", PropertyListValue::Date()},
      {"g", PropertyListValue::Array{1, PropertyListValue::Dictionary{{"h", 2}}}}};
  EXPECT_EQ(propertyListValueOf(archiveValueOf(value)), value);
}

TEST(ArchiveValue, NullsAndObjectsAreNotPropertyListValues) {
  const ArchiveValue object = Object("KVNotification");
  for (const ArchiveValue& value : {ArchiveValue(), object}) {
    EXPECT_EQ(propertyListValueOf(value), std::nullopt);
    EXPECT_EQ(propertyListValueOf(Array{"a", value}), std::nullopt);
    EXPECT_EQ(propertyListValueOf(Dictionary{{"a", value}}), std::nullopt);
  }
}

}  // namespace
}  // namespace kelvora
