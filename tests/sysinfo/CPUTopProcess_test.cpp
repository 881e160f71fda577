#include <gtest/gtest.h>

#include "KelvoraCore/CPUReader.h"

#include "base/KeyedArchive.h"
#include "tests/support/ArchiveText.h"

namespace kelvora {
namespace {

using testing::archiveOfObjects;
using Processes = std::vector<CPUTopProcess>;

const CPUTopProcess kSafari = {
    .pid = 412, .command = "Safari", .name = "Safari \u4e00", .usage = 38.4};
const CPUTopProcess kTool = {.pid = 1, .command = "launchd", .name = {}, .usage = 250};

// The record in an archive of one object with these fields.
std::optional<CPUTopProcess> processWith(ArchiveValue::Object::Fields fields) {
  return topProcessInArchive(keyedArchive(ArchiveValue::Object("CPUTopProcess", fields)));
}

TEST(CPUTopProcessArchive, KeepsEveryField) {
  EXPECT_EQ(topProcessInArchive(archiveOfTopProcess(kSafari)), kSafari);
  EXPECT_EQ(topProcessInArchive(archiveOfTopProcess(kTool)), kTool);
  EXPECT_EQ(topProcessInArchive(archiveOfTopProcess({})), CPUTopProcess());
  EXPECT_EQ(topProcessesInArchive(archiveOfTopProcesses({kSafari, kTool})),
            (Processes{kSafari, kTool}));
  EXPECT_EQ(topProcessesInArchive(archiveOfTopProcesses({})), Processes());
}

TEST(CPUTopProcessArchive, FieldsHaveTheirNamesInTheirOrder) {
  const auto root = readKeyedArchive(archiveOfTopProcesses({kSafari, kTool}),
                                     {"NSArray", "CPUTopProcess", "NSNumber", "NSString"});
  ASSERT_TRUE(root);
  const auto& list = *root->as<ArchiveValue::Array>();
  ASSERT_EQ(list.size(), 2U);
  EXPECT_EQ(list[0], ArchiveValue::Object("CPUTopProcess", {{"pid", std::int64_t{412}},
                                                            {"command", "Safari"},
                                                            {"name", "Safari \u4e00"},
                                                            {"usage", 38.4}}));
  EXPECT_EQ(list[1], ArchiveValue::Object("CPUTopProcess", {{"pid", std::int64_t{1}},
                                                            {"command", "launchd"},
                                                            {"name", ArchiveValue()},
                                                            {"usage", 250.0}}))
      << "the system's archiver writes a null too";
}

TEST(CPUTopProcessArchive, AMissingFieldKeepsItsDefault) {
  EXPECT_EQ(processWith({}), CPUTopProcess());
  CPUTopProcess expected = kSafari;
  expected.name.reset();
  EXPECT_EQ(processWith({{"usage", 38.4}, {"command", "Safari"}, {"pid", std::int64_t{412}}}),
            expected);
}

TEST(CPUTopProcessArchive, ANullFieldKeepsItsDefault) {
  const ArchiveValue null;
  EXPECT_EQ(processWith({{"pid", null}, {"command", null}, {"name", null}, {"usage", null}}),
            CPUTopProcess());
}

TEST(CPUTopProcessArchive, AFieldOfAnotherKindKeepsItsDefaultAndTheOthersAreRead) {
  const ArchiveValue text = "5";
  const ArchiveValue number = 5.0;
  EXPECT_EQ(processWith({{"pid", text}, {"command", number}, {"name", number}, {"usage", text}}),
            CPUTopProcess());
  EXPECT_EQ(processWith({{"pid", text}, {"command", "x"}, {"name", "y"}, {"usage", 2.0}}),
            (CPUTopProcess{.pid = 0, .command = "x", .name = "y", .usage = 2}));
}

TEST(CPUTopProcessArchive, NumbersOfEveryKindAreAccepted) {
  EXPECT_EQ(processWith({{"pid", 412.9}, {"usage", std::int64_t{7}}}),
            (CPUTopProcess{.pid = 412, .command = "", .name = {}, .usage = 7}));
  EXPECT_EQ(processWith({{"pid", true}, {"usage", true}}),
            (CPUTopProcess{.pid = 1, .command = "", .name = {}, .usage = 1}));
}

TEST(CPUTopProcessArchive, ReadsAnArchiveOfTheSystemsArchiver) {
  const auto process = topProcessInArchive(archiveOfObjects(
      "<dict><key>$class</key>@5@<key>pid</key>@2@<key>command</key>@3@<key>name</key>@0@"
      "<key>usage</key>@4@</dict>"
      "<integer>412</integer><string>Safari</string><real>38.4</real>"
      "<dict><key>$classname</key><string>CPUTopProcess</string>"
      "<key>$classes</key><array><string>CPUTopProcess</string><string>NSObject</string></array>"
      "</dict>"));
  EXPECT_EQ(process, (CPUTopProcess{.pid = 412, .command = "Safari", .name = {}, .usage = 38.4}));
}

TEST(CPUTopProcessArchive, OnlyItsClassListsNumbersAndTextsAreAllowed) {
  using Object = ArchiveValue::Object;
  for (const ArchiveValue& field :
       {ArchiveValue(ArchiveValue::Dictionary()), ArchiveValue(ArchiveValue::Date()),
        ArchiveValue(ArchiveValue::Data(1)), ArchiveValue(Object("KVNotification"))}) {
    const Object process("CPUTopProcess", {{"extra", field}});
    EXPECT_FALSE(topProcessInArchive(keyedArchive(process)));
    EXPECT_FALSE(topProcessesInArchive(keyedArchive(ArchiveValue::Array{process})));
  }
  EXPECT_FALSE(topProcessInArchive(keyedArchive(Object("KVNotification"))));
  EXPECT_FALSE(processWith({{"extra", ArchiveValue::Array()}}));
  EXPECT_TRUE(processWith({{"extra", "text"}}));
}

TEST(CPUTopProcessArchive, ARecordIsNotAListAndAListIsNotARecord) {
  EXPECT_FALSE(topProcessesInArchive(archiveOfTopProcess(kSafari)));
  EXPECT_FALSE(topProcessInArchive(archiveOfTopProcesses({kSafari})));
  EXPECT_FALSE(topProcessInArchive(keyedArchive("Safari")));
}

TEST(CPUTopProcessArchive, AListOfAnythingElseReturnsNone) {
  const ArchiveValue process = ArchiveValue::Object("CPUTopProcess");
  EXPECT_TRUE(topProcessesInArchive(keyedArchive(ArchiveValue::Array{process, process})));
  EXPECT_FALSE(topProcessesInArchive(keyedArchive(ArchiveValue::Array{process, "Safari"})));
  EXPECT_FALSE(topProcessesInArchive(keyedArchive(ArchiveValue::Array{ArchiveValue()})));
}

TEST(CPUTopProcessArchive, BytesThatAreNotAnArchiveReturnNone) {
  const std::vector<std::byte> nothing;
  const std::vector<std::byte> damaged(100, std::byte{0x62});
  EXPECT_FALSE(topProcessInArchive(nothing));
  EXPECT_FALSE(topProcessInArchive(damaged));
  EXPECT_FALSE(topProcessesInArchive(nothing));
  EXPECT_FALSE(topProcessesInArchive(damaged));
}

}  // namespace
}  // namespace kelvora
