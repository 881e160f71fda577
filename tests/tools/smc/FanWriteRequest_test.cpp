#include "tools/smc/FanWriteRequest.h"

#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tools/smc/Failure.h"

namespace kelvora::testing {
namespace {

using tool::ExitStatus;
using tool::FanKeyKind;

using Arguments = std::vector<const char*>;

std::optional<tool::Failure> failureOf(Arguments arguments) {
  arguments.insert(arguments.begin(), "tool");
  try {
    tool::parsedRequest(arguments);
    return std::nullopt;
  } catch (const tool::Failure& failure) {
    return failure;
  }
}

ExitStatus statusOf(const Arguments& arguments) {
  const auto failure = failureOf(arguments);
  return failure ? failure->status() : ExitStatus::kWritten;
}

TEST(FanWriteRequest, TheArgumentsAreExactlyKeyAndValue) {
  const Arguments wrong[] = {{},
                             {"-k"},
                             {"-k", "F0Md"},
                             {"-k", "F0Md", "-w"},
                             {"-w", "00", "-k", "F0Md"},
                             {"-k", "F0Md", "-w", "00", "-w"},
                             {"-k", "F0Md", "-w", "00", ""},
                             {"-K", "F0Md", "-w", "00"},
                             {"--k", "F0Md", "-w", "00"},
                             {"-k", "F0Md", "w", "00"},
                             {"-k", "F0Md", "-W", "00"},
                             {"", "F0Md", "-w", "00"},
                             {"-kF0Md", "-w00", "", ""}};
  for (const Arguments& arguments : wrong) {
    EXPECT_EQ(statusOf(arguments), ExitStatus::kUsage) << ::testing::PrintToString(arguments);
  }
  EXPECT_THROW(tool::parsedRequest({}), tool::Failure) << "not even the program's name";
  EXPECT_EQ(statusOf({"-k", "F0Md", "-w", "00"}), ExitStatus::kWritten);
  EXPECT_STREQ(failureOf({"-h"})->what(), "usage: -k KEY -w HEX");
}

TEST(FanWriteRequest, EachFanHasAModeATargetAndAMinimum) {
  for (const char fan : std::string("0123456789ABCDEFGHIJ")) {
    for (const auto& [suffix, kind] :
         {std::pair("Md", FanKeyKind::kMode), std::pair("Tg", FanKeyKind::kTarget),
          std::pair("Mn", FanKeyKind::kMinimum)}) {
      const std::string key = std::string("F") + fan + suffix;
      const auto request = tool::parsedRequest(Arguments{"tool", "-k", key.c_str(), "-w", "0a"});
      EXPECT_EQ(request.key, key);
      EXPECT_EQ(request.kind, kind);
      EXPECT_EQ(request.keyOfFan("Mx"), std::string("F") + fan + "Mx");
    }
  }
}

TEST(FanWriteRequest, AnyOtherKeyIsRefused) {
  for (const char* key : {"",     "F",    "F0",   "F0M",  "F0Mdx", "F0Mx", "F0Ac",  "F0ID", "F0Sf",
                          "FNum", "FKMd", "F/Md", "F:Md", "F@Md",  "FaMd", "f0Md",  "F0md", "F0MD",
                          "F0tg", "F0MN", "G0Md", "TC0P", "#KEY",  "FS! ", " F0Md", "F0Md "}) {
    EXPECT_EQ(statusOf({"-k", key, "-w", "00"}), ExitStatus::kKeyRefused) << key;
  }
}

TEST(FanWriteRequest, AKeyIsShownCutAndWithoutWhatATerminalWouldObey) {
  EXPECT_STREQ(failureOf({"-k", "\033[2J\177\303\244ab", "-w", "00"})->what(),
               "?[2J???ab: not a fan's mode, target or minimum");
  EXPECT_STREQ(failureOf({"-k", "a ~", "-w", "00"})->what(),
               "a ~: not a fan's mode, target or minimum");
  EXPECT_STREQ(failureOf({"-k", "0123456789abcdefg", "-w", "00"})->what(),
               "0123456789abcdef: not a fan's mode, target or minimum");
}

TEST(FanWriteRequest, AValueIsWholeBytesInHexadecimalDigitsOfEitherCase) {
  const auto bytes = [](const char* text) {
    return tool::parsedRequest(Arguments{"tool", "-k", "F0Tg", "-w", text}).bytes;
  };
  EXPECT_EQ(bytes("00"), std::vector<std::uint8_t>{0});
  EXPECT_EQ(bytes("0000fa44"), (std::vector<std::uint8_t>{0, 0, 0xfa, 0x44}));
  EXPECT_EQ(bytes("09AFaf9f"), (std::vector<std::uint8_t>{0x09, 0xaf, 0xaf, 0x9f}));
  EXPECT_EQ(bytes(std::string(64, '1').c_str()), std::vector<std::uint8_t>(32, 0x11));
}

TEST(FanWriteRequest, AnyOtherValueIsMalformed) {
  const std::string tooLong(66, '0');
  for (const char* value :
       {"",   "0",  "000", "0g", "g0", "0x", "0x10", " 00", "00 ",      "0 ",
        "-1", "+1", "0/",  "0:", "0@", "0G", "0`",   "1.",  "\303\244", tooLong.c_str()}) {
    EXPECT_EQ(statusOf({"-k", "F0Md", "-w", value}), ExitStatus::kMalformedValue) << value;
  }
  EXPECT_STREQ(failureOf({"-k", "F0Md", "-w", "0"})->what(),
               "F0Md: the value is not 1 to 32 bytes of two hexadecimal digits each");
}

TEST(FanWriteRequest, TheKeyIsCheckedBeforeTheValue) {
  EXPECT_EQ(statusOf({"-k", "TC0P", "-w", "x"}), ExitStatus::kKeyRefused);
}

}  // namespace
}  // namespace kelvora::testing
