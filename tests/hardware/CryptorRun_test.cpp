#include "hardware/CryptorRun.h"

#include <algorithm>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

namespace kelvora {
namespace {

using Bytes = std::span<const std::byte>;
using SMCEncryption::Data;

Data data(std::string_view text) {
  const auto bytes = std::as_bytes(std::span(text));
  return {bytes.begin(), bytes.end()};
}

// Copies its input and adds "end".
struct ScriptedCryptor : platform::Cryptor {
  std::size_t outputLength(std::size_t inputLength) const override { return inputLength + 8; }
  std::int32_t update(Bytes input, std::span<std::byte> output, std::size_t& written) override {
    calls += "update " + std::to_string(input.size()) + "/" + std::to_string(output.size()) + ", ";
    std::ranges::copy(input, output.begin());
    written = input.size();
    return updateStatus;
  }
  std::int32_t finish(std::span<std::byte> output, std::size_t& written) override {
    calls += "finish " + std::to_string(output.size());
    std::ranges::copy(data("end"), output.begin());
    written = 3;
    return finishStatus;
  }

  std::string calls;
  std::int32_t updateStatus = 0;
  std::int32_t finishStatus = 0;
};

TEST(CryptorRun, IsOneUpdateAndTheFinalStepIntoTheRestOfTheBuffer) {
  ScriptedCryptor cryptor;
  std::int32_t status = -1;
  EXPECT_EQ(runCryptor(cryptor, data("input "), status), data("input end"));
  EXPECT_EQ(status, 0);
  EXPECT_EQ(cryptor.calls, "update 6/14, finish 8");
}

TEST(CryptorRun, WithoutInputItIsTheFinalStepsOutput) {
  ScriptedCryptor cryptor;
  std::int32_t status = -1;
  EXPECT_EQ(runCryptor(cryptor, {}, status), data("end"));
  EXPECT_EQ(cryptor.calls, "update 0/8, finish 8");
}

TEST(CryptorRun, AFailedUpdateReturnsItsStatusWithoutAFinalStep) {
  ScriptedCryptor cryptor;
  cryptor.updateStatus = -4308;
  std::int32_t status = 0;
  EXPECT_EQ(runCryptor(cryptor, data("input "), status), std::nullopt);
  EXPECT_EQ(status, -4308);
  EXPECT_EQ(cryptor.calls, "update 6/14, ");
}

TEST(CryptorRun, AFailedFinalStepIsItsStatus) {
  ScriptedCryptor cryptor;
  cryptor.finishStatus = -4304;
  std::int32_t status = 0;
  EXPECT_EQ(runCryptor(cryptor, data("input "), status), std::nullopt);
  EXPECT_EQ(status, -4304);
}

}  // namespace
}  // namespace kelvora
