#include "platforms/recorded/file/MachineFile.h"

#include <cstring>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/RecordedMachines.h"
#include "tests/support/TemporaryFolder.h"

namespace kelvora::testing {
namespace {

using platform::MachineFileError;
using platform::parseMachine;
using platform::RecordedMachine;

// A machine with more members, e.g. `"smc": {}`.
std::string machineWith(const std::string& members) {
  return R"({"format": "kelvora-machine", "version": 1, "architecture": "x86_64", )" + members +
         "}";
}

std::string refusalOf(const std::string& json) {
  try {
    parseMachine(json, "mac.json");
    return "no refusal";
  } catch (const MachineFileError& error) {
    return error.what();
  }
}

struct Refusal {
  const char* members;
  const char* message;
};

// gtest would print the addresses of the texts.
void PrintTo(const Refusal& refusal, std::ostream* stream) { *stream << refusal.members; }

class MachineFileRefuses : public ::testing::TestWithParam<Refusal> {};

TEST_P(MachineFileRefuses, NamingTheFileThePlaceAndTheFault) {
  EXPECT_EQ(refusalOf(machineWith(GetParam().members)),
            std::string("mac.json: ") + GetParam().message);
}

constexpr Refusal kRefusals[] = {
    {R"("title": 5)", "/title: must be a text"},
    {R"("notes": [])", "/notes: must be a text"},
    {R"("smc": [])", "/smc: must be an object"},
    {R"("smc": {"keys": {}})", "/smc/keys: must be an array"},
    {R"("smc": {"keys": [7]})", "/smc/keys/0: must be an object"},
    {R"("smc": {"keys": [{}]})", "/smc/keys/0/key: is missing"},
    {R"("smc": {"keys": [{"key": "TC0"}]})", "/smc/keys/0/key: 'TC0' is not four characters"},
    {R"("smc": {"keys": [{"key": "TC0PP"}]})", "/smc/keys/0/key: 'TC0PP' is not four characters"},
    {R"("smc": {"keys": [{"key": "TC0\u0000"}]})", "/smc/keys/0/key: a key has no NUL character"},
    {R"("smc": {"keys": [{"key": "TC0€"}]})",
     "/smc/keys/0/key: 'TC0€' has a character beyond U+00FF"},
    {R"("smc": {"keys": [{"key": "TC0P"}, {"key": "TC1P", "type": "flt"}]})",
     "/smc/keys/1/type: 'flt' is not four characters"},
    {R"("smc": {"keys": [{"key": "TC0P", "attributes": 256}]})",
     "/smc/keys/0/attributes: 256 is not between 0 and 255"},
    {R"("smc": {"keys": [{"key": "TC0P", "attributes": -1}]})",
     "/smc/keys/0/attributes: -1 is not between 0 and 255"},
    {R"("smc": {"keys": [{"key": "TC0P", "bytes": "zz"}]})",
     "/smc/keys/0/bytes: 'zz' is not hexadecimal"},
    {R"("smc": {"keys": [{"key": "TC0P", "bytes": "123"}]})",
     "/smc/keys/0/bytes: '123' has an odd number of hexadecimal digits"},
    {R"("smc": {"keys": [{"key": "TC0P",
        "bytes": "000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f20"}]})",
     "/smc/keys/0/bytes: is 33 bytes, more than 32"},
    {R"("smc": {"keys": [{"key": "TC0P", "result": 1.5}]})",
     "/smc/keys/0/result: must be a whole number"},
    {R"("smc": {"keys": [{"key": "TC0P", "status": 4294967296}]})",
     "/smc/keys/0/status: 4294967296 is not between 0 and 4294967295"},
    {R"("smc": {"keys": [{"key": "TC0P", "status": 18446744073709551615}]})",
     "/smc/keys/0/status: 18446744073709551615 is not between 0 and 4294967295"},
    {R"("hid": {})", "/hid: must be an array"},
    {R"("hid": [{"usage": 5}])", "/hid/0/usagePage: is missing"},
    {R"("hid": [{"usagePage": 65280}])", "/hid/0/usage: is missing"},
    {R"("hid": [{"usagePage": 65280, "usage": 5, "product": null}])",
     "/hid/0/product: must be a text"},
    {R"("hid": [{"usagePage": 65280, "usage": 5, "events": {"15": "warm"}}])",
     "/hid/0/events/15: must be a number"},
    {R"("hid": [{"usagePage": 65280, "usage": 5, "events": {"a/b~": 1}}])",
     "/hid/0/events/a~1b~0: 'a/b~' is not an event type"},
    {R"("hid": [{"usagePage": 65280, "usage": 5, "events": {"32768": 1}}])",
     "/hid/0/events/32768: '32768' is not an event type"},
    {R"("sysctl": [])", "/sysctl: must be an object"},
    {R"("sysctl": {"hw.model": 5})",
     R"(/sysctl/hw.model: must be a text, an {"int32": …} or an {"int64": …})"},
    {R"("sysctl": {"hw.ncpu": {"int16": 5}})",
     R"(/sysctl/hw.ncpu: must be a text, an {"int32": …} or an {"int64": …})"},
    {R"("sysctl": {"hw.ncpu": {"int32": 4294967296}})",
     "/sysctl/hw.ncpu/int32: 4294967296 is not between -2147483648 and 4294967295"},
    {R"("sysctl": {"hw.memsize": {"int64": "much"}})",
     "/sysctl/hw.memsize/int64: must be a whole number"},
    {R"("registry": {})", "/registry: must be an array"},
    {R"("registry": [{"name": "GFX0"}])", "/registry/0/class: is missing"},
    {R"("registry": [{"class": "A", "name": 1}])", "/registry/0/name: must be a text"},
    {R"("registry": [{"class": "A", "properties": []}])",
     "/registry/0/properties: must be an object"},
    {R"("registry": [{"class": "A", "properties": {"model": {"data": "0"}}}])",
     "/registry/0/properties/model/data: '0' has an odd number of hexadecimal digits"},
    {R"("registry": [{"class": "A", "properties": {"model": [null]}}])",
     "/registry/0/properties/model/0: must be a text, a number, true or false, an array or an "
     "object"},
    {R"("registry": [{"class": "A", "children": [{"children": 0}]}])",
     "/registry/0/children/0/children: must be an array"},
    {R"("commands": [{"arguments": []}])", "/commands/0/path: is missing"},
    {R"("commands": [{"path": "/bin/ps", "arguments": [1]}])",
     "/commands/0/arguments/0: must be a text"},
    {R"("commands": [{"path": "/bin/ps", "stdout": []}])",
     "/commands/0/stdout: must be a text or an object"},
    {R"("os": {"version": []})", "/os/version: must be one to three numbers"},
    {R"("os": {"version": [1, 2, 3, 4]})", "/os/version: must be one to three numbers"},
    {R"("os": {"version": ["10"]})", "/os/version/0: must be a whole number"},
    {R"("os": {"text": 10})", "/os/text: must be a text"},
    {R"("host": {"name": false})", "/host/name: must be a text"},
    {R"("host": {"addresses": "127.0.0.1"})", "/host/addresses: must be an array"},
    {R"("displays": [{"builtIn": 1}])", "/displays/0/builtIn: must be true or false"},
    {R"("displays": [{"width": "wide"}])", "/displays/0/width: must be a number"},
    {R"("volumes": [{}])", "/volumes/0/path: is missing"},
    {R"("volumes": [{"path": "/", "mediaSize": 1e9}])",
     "/volumes/0/mediaSize: must be a whole number"},
    {R"("applications": [{"pid": "412"}])", "/applications/0/pid: must be a whole number"},
    {R"("statistics": 5)", "/statistics: must be an object"},
    {R"("statistics": {"uptime": "long"})", "/statistics/uptime: must be a number"},
    {R"("statistics": {"processorTicks": [[1, 2, 3]]})",
     "/statistics/processorTicks/0: must be four numbers: user, system, idle, nice"},
    {R"("statistics": {"processorTicks": [[1, 2, 3, -4]]})",
     "/statistics/processorTicks/0/3: -4 is not between 0 and 4294967295"},
    {R"("statistics": {"pageSize": true})", "/statistics/pageSize: must be a whole number"},
    {R"("statistics": {"memory": {"free": 4294967296}})",
     "/statistics/memory/free: 4294967296 is not between 0 and 4294967295"},
    {R"("statistics": {"fileSystem": {"total": -1}})",
     "/statistics/fileSystem/total: -1 is not between 0 and 9223372036854775807"},
    {R"("statistics": {"interfaces": [{"sent": 1}]})", "/statistics/interfaces/0/name: is missing"},
};

INSTANTIATE_TEST_SUITE_P(, MachineFileRefuses, ::testing::ValuesIn(kRefusals));

TEST(MachineFile, RefusesAnotherFormatOrVersion) {
  EXPECT_EQ(refusalOf("{}"), "mac.json: /format: is missing");
  EXPECT_EQ(refusalOf("[]"), "mac.json: /: must be an object");
  EXPECT_EQ(refusalOf("5"), "mac.json: /: must be an object");
  EXPECT_EQ(refusalOf(R"({"format": "other"})"),
            "mac.json: /format: 'other' is not 'kelvora-machine'");
  EXPECT_EQ(refusalOf(R"({"format": "kelvora-machine"})"), "mac.json: /version: is missing");
  EXPECT_EQ(refusalOf(R"({"format": "kelvora-machine", "version": 2})"),
            "mac.json: /version: 2 is not a version that can be read (1 can)");
  EXPECT_EQ(refusalOf(R"({"format": "kelvora-machine", "version": 0})"),
            "mac.json: /version: 0 is not a version that can be read (1 can)");
  EXPECT_EQ(refusalOf(R"({"format": "kelvora-machine", "version": "1"})"),
            "mac.json: /version: must be a whole number");
  EXPECT_EQ(refusalOf(R"({"format": "kelvora-machine", "version": 1})"),
            "mac.json: /architecture: is missing");
  EXPECT_EQ(refusalOf(R"({"format": "kelvora-machine", "version": 1, "architecture": "ppc"})"),
            "mac.json: /architecture: 'ppc' is neither 'x86_64' nor 'arm64'");
}

TEST(MachineFile, NamesLineAndColumnOfWhatIsNotJSON) {
  EXPECT_EQ(refusalOf(""), "mac.json: line 1, column 1: is not JSON");
  EXPECT_EQ(refusalOf("{\n  \"format\": oops}"), "mac.json: line 2, column 13: is not JSON");
  EXPECT_EQ(refusalOf("{\"a\": \"\xff\"}"), "mac.json: line 1, column 8: is not JSON");
  EXPECT_EQ(refusalOf("{} x"), "mac.json: line 1, column 4: is not JSON");
  EXPECT_EQ(refusalOf(R"({"a": 1e999})"), "mac.json: /: holds a number that is too large");
}

TEST(MachineFile, RefusesDeepNestingBeforeItExhaustsTheStack) {
  const std::string message = "mac.json: /: is nested deeper than 128 levels";
  EXPECT_EQ(refusalOf(std::string(129, '[')), message);
  EXPECT_EQ(refusalOf(std::string(10 << 20, '[')), message);
  EXPECT_EQ(refusalOf(std::string(128, '[')), "mac.json: line 1, column 129: is not JSON");
  // Brackets inside a text nest nothing.
  EXPECT_NO_THROW(
      parseMachine(machineWith("\"title\": \"" + std::string(200, '[') + "\""), "mac.json"));
}

TEST(MachineFile, MessagesStayOnOneLineAndShort) {
  const std::string longName(5000, 'x');
  const std::string message = refusalOf(
      machineWith("\"sysctl\": {\"line\\nbreak" + longName + "\": \"ok\", \"a\\nb\": 1}"));
  EXPECT_EQ(message,
            R"(mac.json: /sysctl/a?b: must be a text, an {"int32": …} or an {"int64": …})");
  const std::string quoted =
      refusalOf(machineWith(R"("smc": {"keys": [{"key": ")" + longName + "\"}]}"));
  EXPECT_EQ(quoted,
            "mac.json: /smc/keys/0/key: '" + std::string(40, 'x') + "…' is not four characters");
}

TEST(MachineFile, AMemberThatIsAbsentWasNotRecorded) {
  const RecordedMachine machine = parseMachine(
      R"({"format": "kelvora-machine", "version": 1, "architecture": "arm64"})", "mac.json");
  EXPECT_EQ(machine.architecture, Architecture::kAppleSilicon);
  EXPECT_FALSE(machine.smcKeys.has_value());
  EXPECT_FALSE(machine.hid.has_value());
  EXPECT_FALSE(machine.registry.has_value());
  EXPECT_TRUE(machine.sysctl.empty());
  EXPECT_FALSE(machine.osVersion.has_value());
  EXPECT_FALSE(machine.statistics.memory.has_value());
  EXPECT_FALSE(machine.statistics.uptimeSeconds.has_value());
}

TEST(MachineFile, UnknownMembersAreIgnored) {
  EXPECT_NO_THROW(parseMachine(machineWith(R"("future": {"a": [null]}, "smc": {"fans": 3})"), ""));
}

TEST(MachineFile, ASMCKeyIsCharactersTypeAndBytes) {
  const RecordedMachine machine = parseMachine(machineWith(R"("smc": {"keys": [
        {"key": "TC\u00e9P", "type": "ui8\u0000", "attributes": 192, "bytes": "2aFF",
         "result": 133, "status": 3758097084},
        {"key": "Size"}]})"),
                                               "mac.json");
  ASSERT_EQ(machine.smcKeys->size(), 2U);
  const auto& first = machine.smcKeys->front();
  EXPECT_EQ(first.key, 0x5443e950U);
  EXPECT_EQ(first.type, 0x75693800U);
  EXPECT_EQ(first.attributes, 192);
  EXPECT_EQ(first.bytes, (std::vector{std::byte{0x2a}, std::byte{0xff}}));
  EXPECT_EQ(first.result, 133);
  EXPECT_EQ(first.status, 0xe00002bcU);
  EXPECT_TRUE(machine.smcKeys->back().bytes.empty());
}

TEST(MachineFile, AHIDServiceHasAValueForEachTypeOfEvent) {
  const RecordedMachine machine = parseMachine(machineWith(R"("hid": [
        {"usagePage": 65280, "usage": 5, "product": "PMU tdie1",
         "events": {"15": 38.25, "25": 1, "32767": 2}},
        {"usagePage": 65288, "usage": 3}])"),
                                               "mac.json");
  ASSERT_EQ(machine.hid->size(), 2U);
  const auto& first = machine.hid->front();
  EXPECT_EQ(first.usagePage, 65280);
  EXPECT_EQ(first.usage, 5);
  EXPECT_EQ(first.product, "PMU tdie1");
  EXPECT_EQ(first.events, (decltype(first.events){{15, 38.25}, {25, 1}, {32767, 2}}));
  EXPECT_TRUE(machine.hid->back().events.empty());
}

TEST(MachineFile, SystemControlsBecomeTheirBytes) {
  const RecordedMachine machine = parseMachine(
      machineWith(R"("sysctl": {"t": "ab", "i": {"int32": -2}, "u": {"int32": 4294967295},
                                "l": {"int64": 17179869184}})"),
      "mac.json");
  EXPECT_EQ(machine.sysctl.at("t"), (std::vector{std::byte{'a'}, std::byte{'b'}, std::byte{0}}));
  std::int32_t small = 0;
  ASSERT_EQ(machine.sysctl.at("i").size(), sizeof small);
  std::memcpy(&small, machine.sysctl.at("i").data(), sizeof small);
  EXPECT_EQ(small, -2);
  EXPECT_EQ(machine.sysctl.at("u"), std::vector(4, std::byte{0xff}));
  std::int64_t large = 0;
  ASSERT_EQ(machine.sysctl.at("l").size(), sizeof large);
  std::memcpy(&large, machine.sysctl.at("l").data(), sizeof large);
  EXPECT_EQ(large, 17179869184);
}

TEST(MachineFile, RegistryPropertiesKeepTheirKinds) {
  const RecordedMachine machine =
      parseMachine(machineWith(R"("registry": [{"class": "A", "name": "a", "properties": {
        "bytes": {"data": "00ff"}, "count": 3, "part": 0.5, "flag": true, "text": "t",
        "list": [1, {"data": ""}], "nested": {"data": "01", "more": 1}}}])"),
                   "mac.json");
  using Value = PropertyListValue;
  const Value::Dictionary expected = {{"bytes", Value::Data{std::byte{0}, std::byte{0xff}}},
                                      {"count", 3},
                                      {"part", 0.5},
                                      {"flag", true},
                                      {"text", "t"},
                                      {"list", Value::Array{1, Value::Data{}}},
                                      {"nested", Value::Dictionary{{"data", "01"}, {"more", 1}}}};
  EXPECT_EQ(machine.registry->front().second.properties, expected);
}

TEST(MachineFile, StandardOutputIsATextOrAnObjectPrintedAsJSON) {
  const RecordedMachine machine =
      parseMachine(machineWith(R"("commands": [{"path": "/a", "stdout": "as it\nstands"},
                                  {"path": "/b", "arguments": ["-x"], "stdout": {"k": [1]}},
                                  {"path": "/c"}])"),
                   "mac.json");
  ASSERT_EQ(machine.commands.size(), 3U);
  EXPECT_EQ(machine.commands[0].standardOutput, "as it\nstands");
  EXPECT_EQ(machine.commands[1].arguments, std::vector<std::string>{"-x"});
  EXPECT_EQ(nlohmann::json::parse(machine.commands[1].standardOutput),
            nlohmann::json::parse(R"({"k": [1]})"));
  EXPECT_EQ(machine.commands[2].standardOutput, "");
}

TEST(MachineFile, StatisticsThatLackAPartWereNotRecorded) {
  const auto statistics = [](const char* members) {
    return parseMachine(machineWith(std::string("\"statistics\": ") + members), "").statistics;
  };
  EXPECT_FALSE(statistics(R"({"memory": {"free": 1, "active": 2, "inactive": 3}})").memory);
  EXPECT_FALSE(statistics(R"({"fileSystem": {"total": 5}})").fileSystem);
  const auto whole = statistics(R"({"memory": {"free": 1, "active": 2, "inactive": 3, "wired": 4},
                                    "fileSystem": {"total": 5, "free": 6}})");
  EXPECT_EQ(whole.memory->wired, 4U);
  EXPECT_EQ(whole.fileSystem->freeBytes, 6);
}

TEST(MachineFile, AFileOfManyMegabytesIsRead) {
  std::string keys;
  for (int i = 0; i < 100000; ++i) {
    keys += R"({"key": "TC0P", "type": "sp78", "attributes": 192, "bytes": "2520",)"
            R"( "comment": "a comment that is not read"},)";
  }
  keys.pop_back();
  const auto machine = parseMachine(machineWith("\"smc\": {\"keys\": [" + keys + "]}"), "");
  EXPECT_EQ(machine.smcKeys->size(), 100000U);
}

TEST(MachineFile, AFileThatCannotBeReadIsNamed) {
  const TemporaryFolder folder;
  const auto refusal = [](const std::string& path) -> std::string {
    try {
      platform::readMachineFile(path);
      return "no refusal";
    } catch (const MachineFileError& error) {
      return error.what();
    }
  };
  const std::string missing = folder.path() + "/missing.json";
  EXPECT_EQ(refusal(missing), missing + ": cannot be read: No such file or directory");
  EXPECT_EQ(refusal(folder.path()), folder.path() + ": cannot be read: Is a directory");
  EXPECT_EQ(refusal("/dev/zero"), "/dev/zero: /: is larger than 64 MB");
  EXPECT_EQ(refusal(folder.write("bad.json", "{")),
            folder.path() + "/bad.json: line 1, column 2: is not JSON");
}

TEST(MachineFile, EveryRecordedMachineNotesWhatWasRecorded) {
  for (const char* name : kRecordedMachines) {
    const RecordedMachine machine = recordedMachine(name);
    EXPECT_NE(machine.notes.find("recorded"), std::string::npos) << name;
    EXPECT_TRUE(machine.sysctl.contains("hw.model")) << name;
    EXPECT_TRUE(machine.osVersion.has_value()) << name;
    EXPECT_FALSE(machine.volumes.empty()) << name;
  }
}

TEST(MachineFile, RecordedListsHaveTheLengthOfTheirFiles) {
  EXPECT_EQ(recordedMachine("MacBookPro10,1").smcKeys->size(), 493U);
  EXPECT_EQ(recordedMachine("MacBookPro15,1").smcKeys->size(), 258U);
  EXPECT_EQ(recordedMachine("Macmini8,1").smcKeys->size(), 526U);
  EXPECT_EQ(recordedMachine("iMac19,1").smcKeys->size(), 239U);
  EXPECT_FALSE(recordedMachine("Macmini9,1").smcKeys.has_value());
  EXPECT_FALSE(recordedMachine("Macmini9,1").hid->empty());
}

}  // namespace
}  // namespace kelvora::testing
