#include "sysinfo/SystemQuery.h"

#include <string_view>

#include "KelvoraCore/KVExtension.h"

#include "ports/SystemFacts.h"
#include "sysinfo/ByteCount.h"
#include "sysinfo/SystemControlValues.h"

namespace kelvora {

namespace {

// "Version 13.4 (Build 22F66)" gives "22F66": the piece between the first two opening brackets.
std::string buildOf(std::string_view text) {
  const std::size_t first = text.find('(');
  if (first == std::string_view::npos) {
    return "Unknown";
  }
  const std::string_view rest = text.substr(first + 1);
  const std::string_view piece = rest.substr(0, rest.find('('));
  return KVExtension::replace(KVExtension::replace(piece, "Build ", ""), ")", "");
}

}  // namespace

ZDOSInfo queryOS(platform::SystemControls& controls, platform::SystemFacts& facts) {
  ZDOSInfo info;
  const std::string text = facts.osVersionText();
  if (!isMacOS(controls)) {
    info.system = text.empty() ? sysctlNSStringForKey(kKernelName, controls) : text;
  }
  if (const auto version = facts.osVersion()) {
    info.version = {version->major, version->minor, version->patch};
  }
  info.build = buildOf(text);
  return info;
}

ZDMemoryInfo queryMemory(platform::SystemControls& controls) {
  const auto bytes = static_cast<std::uint64_t>(sysctlNumberForKey("hw.memsize", controls));
  return {.physicalMemory = formattedByteCount(bytes, ByteCountStyle::kMemory)};
}

}  // namespace kelvora
