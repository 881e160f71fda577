#include "tools/smc/FanWriteRequest.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>
#include <utility>

#include "KelvoraCore/SMCRecords.h"

#include "base/HexadecimalText.h"
#include "hardware/FanKeys.h"
#include "tools/smc/Failure.h"

namespace kelvora::tool {

namespace {

constexpr std::size_t kMostBytes = sizeof SMCValueRecord::bytes;
constexpr std::size_t kMostShown = 16;

constexpr auto kKinds = std::to_array<std::pair<std::string_view, FanKeyKind>>(
    {{"Md", FanKeyKind::kMode}, {"Tg", FanKeyKind::kTarget}, {"Mn", FanKeyKind::kMinimum}});

// A foreign text as part of a line that a terminal may show.
std::string shown(std::string_view text) {
  std::string result(text.substr(0, kMostShown));
  std::ranges::replace_if(
      result, [](char c) { return c < ' ' || c > '~'; }, '?');
  return result;
}

std::optional<FanKeyKind> kindOf(std::string_view key) {
  if (key.size() != 4 || key[0] != 'F' || kFanCharacters.find(key[1]) == std::string_view::npos) {
    return std::nullopt;
  }
  const auto* const found =
      std::ranges::find(kKinds, key.substr(2), &std::pair<std::string_view, FanKeyKind>::first);
  return found == kKinds.end() ? std::nullopt : std::optional(found->second);
}

std::vector<std::uint8_t> parsedBytes(const std::string& key, std::string_view text) {
  const Failure malformed(ExitStatus::kMalformedValue,
                          key + ": the value is not 1 to 32 bytes of two hexadecimal digits each");
  if (text.empty() || text.size() % 2 != 0 || text.size() > 2 * kMostBytes) {
    throw malformed;
  }
  std::vector<std::uint8_t> bytes;
  for (std::size_t i = 0; i < text.size(); i += 2) {
    const auto byte = hexadecimalByte(text.substr(i, 2));
    if (!byte) {
      throw malformed;
    }
    bytes.push_back(*byte);
  }
  return bytes;
}

}  // namespace

FanWriteRequest parsedRequest(std::span<const char* const> arguments) {
  using namespace std::string_view_literals;
  if (arguments.size() != 5 || arguments[1] != "-k"sv || arguments[3] != "-w"sv) {
    throw Failure(ExitStatus::kUsage, "usage: -k KEY -w HEX");
  }
  const std::string_view key = arguments[2];
  const auto kind = kindOf(key);
  if (!kind) {
    throw Failure(ExitStatus::kKeyRefused, shown(key) + ": not a fan's mode, target or minimum");
  }
  return {std::string(key), *kind, parsedBytes(std::string(key), arguments[4])};
}

}  // namespace kelvora::tool
