#include "tools/kelvora/ReadFailures.h"

#include <algorithm>
#include <optional>
#include <string_view>

#include "KelvoraCore/SMC.h"
#include "KelvoraCore/SMCText.h"

namespace kelvora::tool {

namespace {

// "F0ID" of "SMC read (F0ID) failed".
std::optional<std::string_view> keyOfFailedRead(std::string_view message) {
  constexpr std::string_view kStart = "SMC read (";
  constexpr std::string_view kEnd = ") failed";
  if (!message.starts_with(kStart) || !message.ends_with(kEnd)) {
    return std::nullopt;
  }
  message.remove_prefix(kStart.size());
  message.remove_suffix(kEnd.size());
  return message;
}

// An SMC answers for a key that it does not know, with size 0.
bool isUnknownToSMC(std::string_view key) {
  SMCKeyInfo info{};
  return SMCGetKeyInfo(packedKeyFromText(key), &info) == 0 && info.dataSize == 0;
}

void appendOnce(std::vector<std::string>& list, std::string_view text) {
  if (std::ranges::find(list, text) == list.end()) {
    list.emplace_back(text);
  }
}

}  // namespace

bool hasSMC() {
  const bool isOpen = SMCOpen() == 0;
  if (isOpen) {
    SMCClose();
  }
  return isOpen;
}

ReadFailures readFailures(const Platform& platform, bool hasSMC,
                          const std::vector<std::string>& messages) {
  ReadFailures failures;
  for (const std::string& message : messages) {
    const auto key = platform.isLive() ? std::nullopt : keyOfFailedRead(message);
    if (key && !hasSMC) {
      appendOnce(failures.notInRecording, "SMC");
    } else if (key && isUnknownToSMC(*key)) {
      appendOnce(failures.notInRecording, *key);
    } else {
      appendOnce(failures.messages, message);
    }
  }
  return failures;
}

}  // namespace kelvora::tool
