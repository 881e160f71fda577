#include <cstdint>
#include <cstdio>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "tools/kelvora/Command.h"
#include "tools/kelvora/OrNull.h"
#include "tools/kelvora/Report.h"
#include "tools/kelvora/SMCKeyList.h"
#include "tools/kelvora/Text.h"

namespace kelvora::tool {

namespace {

std::string hexadecimal(std::span<const std::uint8_t> bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const std::uint8_t byte : bytes) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

Json jsonKey(const SMCKeyEntry& entry) {
  return {{"index", entry.index},
          {"key", entry.key},
          {"type", entry.type},
          {"size", entry.size},
          {"attributes", entry.attributes},
          {"bytes", hexadecimal(entry.bytes)},
          {"value", orNull(entry.value)}};
}

std::string textOf(const SMCKeyEntry& entry) {
  char numbers[64];
  std::snprintf(numbers, sizeof numbers, "%5u  ", entry.index);
  std::string line =
      numbers + fitted(printable(entry.key), 4) + "  " + fitted(printable(entry.type), 4);
  std::snprintf(numbers, sizeof numbers, "  %4u  0x%02x  ", entry.size, entry.attributes);
  line += numbers;
  std::string value = kNoValue;
  if (entry.value) {
    std::snprintf(numbers, sizeof numbers, "%.7g", *entry.value);
    value = numbers;
  }
  return line + rightAligned(value, 12) + "  " + hexadecimal(entry.bytes) + "\n";
}

std::string unreadableText(const SMCKeyList& list) {
  return list.unreadable == 0 ? ""
                              : "\n" + std::to_string(list.unreadable) + " of " +
                                    std::to_string(list.count) + " indices could not be read.\n";
}

int runKeys(const Options& options, StandardOutput& output) {
  const MachineChoice machine = chooseMachine(options.machine);
  output.discardMessages(!machine.platform.isLive());
  const SMCKeyList list = readSMCKeys();
  if (options.json) {
    Json keys = Json::array();
    for (const SMCKeyEntry& entry : list.entries) {
      keys.push_back(jsonKey(entry));
    }
    writeJson(output, {{"machine", jsonMachine(machine.platform)},
                       {"count", list.count},
                       {"unreadable", list.unreadable},
                       {"keys", keys}});
  } else {
    const Style style(output);
    std::string text = machineLine(machine, static_cast<std::size_t>(output.columns()));
    if (!list.entries.empty()) {
      text += "\n" + style.heading("Index  Key   Type  Size  Attr         Value  Bytes") + "\n";
    }
    for (const SMCKeyEntry& entry : list.entries) {
      text += textOf(entry);
    }
    writeText(output, text + unreadableText(list));
  }
  if (list.entries.empty()) {
    const bool isAbsent = list.count == 0 && !machine.platform.isLive();
    throw CommandError(kExitNothingRead,
                       machine.platform.title() + (isAbsent ? ": no SMC in this recording"
                                                            : ": no SMC key could be read"));
  }
  return kExitSuccess;
}

}  // namespace

std::vector<Command> keysCommands() {
  return {{.name = "keys",
           .description = "List every SMC key by its index",
           .example = "kelvora keys --machine Macmini8,1",
           .machine = MachineUse::kOption,
           .run = runKeys}};
}

}  // namespace kelvora::tool
