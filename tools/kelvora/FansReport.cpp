#include "tools/kelvora/FansReport.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <sstream>

#include <nlohmann/json.hpp>

#include "tools/kelvora/OrNull.h"
#include "tools/kelvora/Refusals.h"
#include "tools/kelvora/Report.h"
#include "tools/kelvora/Text.h"

namespace kelvora::tool {

namespace {

using Row = std::vector<std::string>;

Json jsonMode(const std::optional<bool>& isFixed) {
  return isFixed ? Json(*isFixed ? "fixed" : "automatic") : Json(nullptr);
}

// A lease whose record cannot be read has no program.
void addHolder(Json& json, const KVLeasedFan& lease) {
  const bool isKnown = lease.processIdentifier != 0;
  json["program"] = isKnown ? Json(lease.program) : Json(nullptr);
  json["process"] = isKnown ? Json(lease.processIdentifier) : Json(nullptr);
  json["since"] = isKnown ? Json(isoTime(lease.since)) : Json(nullptr);
  json["fault"] = lease.fault.empty() ? Json(nullptr) : Json(lease.fault);
}

Json jsonLease(const std::optional<KVLeasedFan>& lease) {
  if (!lease) {
    return nullptr;
  }
  Json json;
  addHolder(json, *lease);
  json["isLive"] = lease->isLive;
  return json;
}

Json jsonFan(const FanState& fan) {
  return {{"index", fan.index},
          {"name", fan.name},
          {"speed", orNull(fan.speed)},
          {"minimum", orNull(fan.minimum)},
          {"maximum", orNull(fan.maximum)},
          {"target", orNull(fan.target)},
          {"mode", jsonMode(fan.isFixed)},
          {"raisedTo", orNull(fan.raisedTo)},
          {"lease", jsonLease(fan.lease)}};
}

Json jsonLeftBehind(const KVLeasedFan& lease) {
  Json json = {{"index", lease.fan}};
  addHolder(json, lease);
  return json;
}

Json jsonLeftBehind(const FansLeftBehind& fans) {
  Json list = Json::array();
  for (const KVLeasedFan& fan : fans.leased) {
    list.push_back(jsonLeftBehind(fan));
  }
  for (const KVFanHandBack& fan : fans.withoutLease) {
    KVLeasedFan ofUnknownProgram;
    ofUnknownProgram.fan = fan.fan;
    ofUnknownProgram.fault = fan.fault;
    list.push_back(jsonLeftBehind(ofUnknownProgram));
  }
  return list;
}

Json jsonWritten(const FanWritten& written) {
  return {{"mode", jsonMode(written.isFixed)},
          {"target", orNull(written.target)},
          {"minimum", orNull(written.minimum)}};
}

template <typename Items, typename ToJson>
Json jsonList(const Items& items, ToJson toJson) {
  Json list = Json::array();
  for (const auto& item : items) {
    list.push_back(toJson(item));
  }
  return list;
}

std::string number(const std::optional<double>& speed) {
  return speed && std::isfinite(*speed) ? std::to_string(std::llround(*speed)) : "unknown";
}

std::string speedText(const std::optional<double>& speed) {
  return speed && std::isfinite(*speed) ? number(speed) + " rpm" : "unknown speed";
}

// "fixed, target 3000 rpm"
std::string controlText(const FanState& fan) {
  std::string text;
  const auto add = [&text](const std::string& part) { text += (text.empty() ? "" : ", ") + part; };
  if (fan.isFixed) {
    add(*fan.isFixed ? "fixed" : "automatic");
  }
  if (fan.raisedTo) {
    add("at least " + speedText(fan.raisedTo));
  }
  if (fan.target) {
    add("target " + speedText(fan.target));
  }
  return text;
}

std::string leaseText(const FanState& fan) {
  if (!fan.lease) {
    return "";
  }
  const std::string since =
      fan.lease->processIdentifier == 0 ? "" : " since " + isoTime(fan.lease->since);
  return (fan.lease->isLive ? "held by " : "left behind by ") + holderOf(*fan.lease) + since;
}

Row rowOf(const FanState& fan) {
  return {std::to_string(fan.index), printable(fan.name),
          speedText(fan.speed),      number(fan.minimum) + " to " + number(fan.maximum) + " rpm",
          controlText(fan),          printable(leaseText(fan))};
}

std::string writtenText(const FanWritten& written) {
  if (written.isFixed) {
    return *written.isFixed ? "set to " + speedText(written.target) : "handed back";
  }
  return written.minimum ? "minimum set to " + speedText(written.minimum) : "nothing written";
}

Row rowOf(const FanChange& change) {
  const FanState& fan = change.read;
  const std::string control = controlText(fan);
  return {std::to_string(fan.index), printable(fan.name), writtenText(change.written),
          "now " + speedText(fan.speed) + (control.empty() ? "" : ", " + control),
          printable(leaseText(fan))};
}

template <typename Item>
std::vector<Row> rowsOf(const std::vector<Item>& items) {
  std::vector<Row> rows(items.size());
  std::ranges::transform(items, rows.begin(), [](const Item& item) { return rowOf(item); });
  return rows;
}

// Each row with its first two columns as a heading, for a terminal that is too narrow for a table.
std::string stacked(const std::vector<Row>& rows, std::size_t columns) {
  constexpr std::size_t kIndent = 3;
  const std::size_t width = std::max(columns, kIndent + 1) - kIndent;
  std::string text;
  for (const Row& row : rows) {
    text += row[0] + "  " + row[1] + "\n";
    for (std::size_t column = 2; column < row.size(); ++column) {
      for (const std::string& line : wrapped(row[column], width)) {
        text += line.empty() ? "" : std::string(kIndent, ' ') + line + "\n";
      }
    }
  }
  return text;
}

std::string textOf(const std::vector<Row>& rows, std::size_t columns) {
  const std::string text = table(rows);
  std::size_t width = 0;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    width = std::max(width, displayWidth(line));
  }
  return columns == 0 || width <= columns ? text : stacked(rows, columns);
}

}  // namespace

bool reportStuck(const std::vector<KVLeasedFan>& held) {
  bool isWell = true;
  for (const KVLeasedFan& fan : held) {
    if (fan.isLive && !fan.fault.empty()) {
      isWell = false;
      const std::string line = "fan " + std::to_string(fan.fan) + ": the guardian of " +
                               holderOf(fan) + " cannot hand it back: " + fan.fault +
                               " ('kelvora fans auto " + std::to_string(fan.fan) + "' tries)";
      say(line);
    }
  }
  return isWell;
}

bool isFixedWithoutLease(const FanState& fan) { return fan.isFixed == true && !fan.lease; }

void reportFixedWithoutLease(const std::vector<FanState>& fans) {
  for (const FanState& fan : fans) {
    if (isFixedWithoutLease(fan)) {
      std::ostringstream line;
      line << "fan " << fan.index
           << " is at a fixed speed and no lease is known; 'kelvora fans auto " << fan.index
           << "' hands it back";
      say(line.str());
    }
  }
}

void writeFans(const Options& options, StandardOutput& output, const MachineChoice& machine,
               const std::vector<FanState>& fans, const FansLeftBehind& leftBehind) {
  if (options.json) {
    writeJson(output, {{"machine", jsonMachine(machine.platform)},
                       {"fans", jsonList(fans, jsonFan)},
                       {"leftBehind", jsonLeftBehind(leftBehind)}});
    return;
  }
  const std::vector<Row> rows = rowsOf(fans);
  const auto columns = static_cast<std::size_t>(output.columns());
  writeText(output, machineLine(machine, columns) + "\n" +
                        (rows.empty() ? "no fans\n" : textOf(rows, columns)));
}

void writeChanges(const Options& options, StandardOutput& output, const MachineChoice& machine,
                  FanEvent event, const std::vector<FanChange>& changes, bool isOneOfMany) {
  if (options.json) {
    const auto jsonChange = [](const FanChange& change) {
      return Json{{"written", jsonWritten(change.written)}, {"read", jsonFan(change.read)}};
    };
    const Json report = {{"machine", jsonMachine(machine.platform)},
                         {"event", event == FanEvent::kHeld ? "held" : "handedBack"},
                         {"fans", jsonList(changes, jsonChange)}};
    isOneOfMany ? writeJsonLine(output, report) : writeJson(output, report);
    return;
  }
  writeText(output, textOf(rowsOf(changes), static_cast<std::size_t>(output.columns())));
}

}  // namespace kelvora::tool
