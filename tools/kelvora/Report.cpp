#include "tools/kelvora/Report.h"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include <nlohmann/json.hpp>

#include "KelvoraCore/KVLocalized.h"
#include "KelvoraCore/KVSettingsSnapshot.h"
#include "KelvoraCore/ZDSystemDevice.h"

#include "tools/kelvora/CharacterSet.h"
#include "tools/kelvora/Command.h"
#include "tools/kelvora/SensorText.h"
#include "tools/kelvora/Text.h"

namespace kelvora::tool {

Json jsonNumber(double value) { return std::isfinite(value) ? Json(value) : Json(nullptr); }

std::string limitText(double limit, const std::optional<std::string>& unit) {
  const bool isWhole = std::trunc(limit) == limit && std::abs(limit) < 1e15;
  const Json number = isWhole ? Json(static_cast<std::int64_t>(limit)) : jsonNumber(limit);
  return "from " + (number.is_null() ? "no number" : number.dump()) + unit.value_or("");
}

Json jsonMachine(Platform& platform) {
  constexpr int kFormatVersion = 1;
  const std::string model = ZDSystemDevice::modelIdentifier(platform);
  return {{"formatVersion", kFormatVersion},
          {"time", isoTime(std::chrono::system_clock::now())},
          {"title", platform.title()},
          {"model", model.empty() ? Json(nullptr) : Json(model)},
          {"architecture", architectureName(platform.architecture())},
          {"live", platform.isLive()}};
}

std::string machineTitle(const MachineChoice& machine, const KVLocalized::Texts& texts) {
  Platform& platform = machine.platform;
  const std::string kind = platform.isLive() ? localizedText("machine-live", "live", texts)
                                             : localizedText("machine-recorded", "recorded", texts);
  const std::string title = printable(platform.title()) + " (" + kind + ")";
  return machine.isStandIn ? title + ": " +
                                 localizedText("machine-stand-in",
                                               "no Apple hardware here, so this recording is "
                                               "shown; --machine takes another",
                                               texts)
                           : title;
}

std::string machineLine(const MachineChoice& machine, std::size_t width) {
  KVSettingsSnapshot settings;
  const KVLocalized::Texts texts(settings, machine.platform);
  std::string text;
  for (const std::string& part : broken(machineTitle(machine, texts), width)) {
    text += part + "\n";
  }
  return text;
}

void writeBytes(StandardOutput& output, std::string_view bytes) {
  if (!output.write(bytes)) {
    throw CommandError(kExitNothingRead, "the report could not be written");
  }
}

void writeText(StandardOutput& output, std::string_view text) {
  writeBytes(output, inCharacterSetOfLocale(text));
}

// JSON is UTF-8 in every locale. Texts are valid UTF-8 already; should one not be, the report still
// is.
void writeJson(StandardOutput& output, const Json& report) {
  writeBytes(output, report.dump(2, ' ', false, Json::error_handler_t::replace) + "\n");
}

void writeJsonLine(StandardOutput& output, const Json& report) {
  writeBytes(output, report.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n");
}

void say(const std::string& line) {
  std::fprintf(stderr, "kelvora: %s\n", printable(line).c_str());
}

Style::Style(const StandardOutput& output) {
  const char* refusal = std::getenv("NO_COLOR");
  isColoured_ = output.isTerminal() && (refusal == nullptr || *refusal == '\0');
}

std::string Style::wrapped(const char* code, std::string_view text) const {
  return isColoured_ ? std::string("\x1b[") + code + "m" + std::string(text) + "\x1b[0m"
                     : std::string(text);
}

std::string Style::heading(std::string_view text) const { return wrapped("1;34", text); }

std::string Style::faint(std::string_view text) const { return wrapped("2", text); }

std::string Style::curve(std::string_view text) const { return wrapped("36", text); }

}  // namespace kelvora::tool
