#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "tools/kelvora/Command.h"
#include "tools/kelvora/DoctorChecks.h"
#include "tools/kelvora/Report.h"
#include "tools/kelvora/Text.h"

namespace kelvora::tool {

namespace {

constexpr std::size_t kStateWidth = 8;
constexpr std::size_t kCheckNameWidth = 21;
// In a narrower column a text goes below its check's name.
constexpr std::size_t kLeastTextWidth = 24;

const char* stateName(CheckState state) {
  switch (state) {
    case CheckState::kOK:
      return "ok";
    case CheckState::kHint:
      return "hint";
    case CheckState::kBroken:
      break;
  }
  return "broken";
}

Json jsonCheck(const Check& check) {
  return {{"name", check.name},
          {"state", stateName(check.state)},
          {"finding", check.finding},
          {"advice", check.advice.empty() ? Json(nullptr) : Json(check.advice)}};
}

std::string textOf(const Check& check, const Style& style, std::size_t columns) {
  const bool isNarrow = columns != 0 && columns < kStateWidth + kCheckNameWidth + kLeastTextWidth;
  const std::string indent(isNarrow ? kStateWidth : kStateWidth + kCheckNameWidth, ' ');
  const std::size_t width = columns == 0 ? 0 : std::max(columns, indent.size() + 1) - indent.size();
  const std::string state = fitted(stateName(check.state), kStateWidth);
  std::string text = check.state == CheckState::kBroken ? style.heading(state) : state;
  text += isNarrow ? check.name + "\n" : fitted(check.name, kCheckNameWidth);
  std::string start = isNarrow ? indent : "";
  for (const std::string& line : wrapped(printable(check.finding), width)) {
    text += std::exchange(start, indent) + line + "\n";
  }
  if (!check.advice.empty()) {
    for (const std::string& line : wrapped(check.advice, width)) {
      text += indent + style.faint(line) + "\n";
    }
  }
  return text;
}

void writeChecks(const Options& options, const MachineChoice& machine,
                 const std::vector<Check>& checks, StandardOutput& output) {
  const Style style(output);
  Json list = Json::array();
  std::string text;
  for (const Check& check : checks) {
    list.push_back(jsonCheck(check));
    text += textOf(check, style, static_cast<std::size_t>(output.columns()));
  }
  if (options.json) {
    writeJson(output, {{"machine", jsonMachine(machine.platform)}, {"checks", list}});
  } else {
    writeText(output, text);
  }
}

int runDoctor(const Options& options, StandardOutput& output) {
  const MachineChoice machine = chooseMachineToCheck(options.machine);
  output.discardMessages(!machine.platform.isLive());
  const std::vector<Check> checks = doctorChecks(machine);
  writeChecks(options, machine, checks, output);
  const auto broken = std::ranges::count(checks, CheckState::kBroken, &Check::state);
  if (broken > 0) {
    throw CommandError(kExitNothingRead, std::to_string(broken) + " of " +
                                             std::to_string(checks.size()) + " checks failed");
  }
  return kExitSuccess;
}

}  // namespace

std::vector<Command> doctorCommands() {
  return {
      {.name = "doctor",
       .description =
           "Check what the programs need here, and say what to do about it; fans that a program "
           "left behind are handed back",
       .example = "kelvora doctor\n"
                  "  kelvora doctor --json | jq '.checks[] | select(.state != \"ok\")'",
       .machine = MachineUse::kOption,
       .run = runDoctor}};
}

}  // namespace kelvora::tool
