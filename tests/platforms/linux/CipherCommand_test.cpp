// What the library enciphers, the openssl command deciphers, and the other way round.
#include <string>

#include <gtest/gtest.h>

#include "KelvoraCore/SMCEncryption.h"

#include "base/HexadecimalText.h"
#include "tests/support/ChildProgram.h"
#include "tests/support/Hexadecimal.h"
#include "tests/support/TemporaryFolder.h"

namespace kelvora::testing {
namespace {

using SMCEncryption::Data;

struct Command {
  const char* name;  // of the cipher for the command
  std::uint32_t algorithm;
  std::size_t keyLength;
  std::uint32_t options;
};

constexpr Command kCommands[] = {
    {"-aes-128-cbc", 0, 16, 0},  {"-aes-192-cbc", 0, 24, 0}, {"-aes-256-cbc", 0, 32, 0},
    {"-aes-128-ecb", 0, 16, 2},  {"-aes-192-ecb", 0, 24, 2}, {"-aes-256-ecb", 0, 32, 2},
    {"-des-cbc", 1, 8, 0},       {"-des-ecb", 1, 8, 2},      {"-des-ede3-cbc", 2, 24, 0},
    {"-des-ede3-ecb", 2, 24, 2}, {"-cast5-cbc", 3, 16, 0},   {"-cast5-ecb", 3, 16, 2},
    {"-rc4", 4, 16, 0},          {"-rc4-40", 4, 5, 0},       {"-rc2-cbc", 5, 16, 0},
    {"-rc2-ecb", 5, 16, 2},      {"-rc2-64-cbc", 5, 8, 0},   {"-rc2-40-cbc", 5, 5, 0},
    {"-bf-cbc", 6, 16, 0},       {"-bf-ecb", 6, 16, 2},
};

struct CipherCommand : ::testing::TestWithParam<Command> {
  static Data bytes(std::size_t count, unsigned seed) {
    Data result;
    for (std::size_t index = 0; index < count; ++index) {
      result.push_back(static_cast<std::byte>(index * 37 + seed));
    }
    return result;
  }

  // The command's output for this input; `direction` is "-e" or "-d".
  Data byCommand(const char* direction, const Data& input, bool pads) const {
    folder.write("in", {reinterpret_cast<const char*>(input.data()), input.size()});
    std::vector<std::string> arguments = {"enc",
                                          direction,
                                          GetParam().name,
                                          "-provider",
                                          "default",
                                          "-provider",
                                          "legacy",
                                          "-K",
                                          hexadecimalText(key),
                                          "-in",
                                          folder.path("in"),
                                          "-out",
                                          folder.path("out")};
    if (std::string(GetParam().name).find("cbc") != std::string::npos) {
      arguments.insert(arguments.end(), {"-iv", hexadecimalText(vector)});
    }
    if (!pads) {
      arguments.emplace_back("-nopad");
    }
    const ProgramResult result = runProgram("/usr/bin/openssl", arguments);
    EXPECT_EQ(result.status, 0) << result.standardError;
    const std::string output = folder.read("out");
    const auto read = std::as_bytes(std::span(output));
    return {read.begin(), read.end()};
  }

  void expectBothWays(const Data& plain, bool pads) const {
    const std::uint32_t options = GetParam().options | (pads ? kSMCCipherPKCS7Padding : 0U);
    const auto enciphered = SMCEncryption::encryptedDataUsingAlgorithm(plain, GetParam().algorithm,
                                                                       key, vector, options);
    ASSERT_TRUE(enciphered);
    EXPECT_EQ(byCommand("-d", *enciphered, pads), plain);
    EXPECT_EQ(SMCEncryption::decryptedDataUsingAlgorithm(
                  byCommand("-e", plain, pads), GetParam().algorithm, key, vector, options),
              plain);
  }

  TemporaryFolder folder;
  Data key = bytes(GetParam().keyLength, 3);
  Data vector = bytes(GetParam().algorithm == kSMCCipherAES ? 16 : 8, 11);
};

TEST_P(CipherCommand, AgreesWithPadding) {
  expectBothWays(bytes(1000, 5), true);
  expectBothWays({}, true);
}

TEST_P(CipherCommand, AgreesWithoutPadding) { expectBothWays(bytes(1024, 5), false); }

std::string nameOf(const ::testing::TestParamInfo<Command>& command) {
  std::string name;
  for (const char character : std::string(command.param.name)) {
    if (character != '-') {
      name += character;
    }
  }
  return name;
}

INSTANTIATE_TEST_SUITE_P(Ciphers, CipherCommand, ::testing::ValuesIn(kCommands), nameOf);

}  // namespace
}  // namespace kelvora::testing
