#pragma once

#include <string>
#include <string_view>

#include <nlohmann/json_fwd.hpp>

#include "KelvoraCore/KVLocalized.h"
#include "KelvoraCore/StandardOutput.h"

#include "tools/kelvora/MachineChoice.h"

namespace kelvora::tool {

/// Members in the order they were written. A source that makes or reads one includes
/// <nlohmann/json.hpp>, which is slow to compile.
using Json = nlohmann::ordered_json;

/// A number of a report: null when it is not finite, which JSON cannot hold.
Json jsonNumber(double value);

/// From which value on something happens: "from 85.5°C", or "from 85.5" without a unit.
std::string limitText(double limit, const std::optional<std::string>& unit);

/// The "machine" member of every report of a machine, with the version of the format and the
/// current time, e.g. "2024-03-07T14:05:09+01:00". docs/schema describes the reports.
Json jsonMachine(Platform& platform);

/// What a report is of, in the user's language: "MacBook Pro 15-inch 2018 (recorded)", and why
/// where no machine was asked for. One line without its end.
std::string machineTitle(const MachineChoice& machine, const KVLocalized::Texts& texts);

/// The same as the first lines of a text report, for a terminal of `width` columns; 0 is one line.
std::string machineLine(const MachineChoice& machine, std::size_t width);

/// Writes a report; throws CommandError when it cannot be written whole. Text is written in the
/// character set of the user's locale, JSON always in UTF-8.
void writeText(StandardOutput& output, std::string_view text);
/// The same bytes in every locale, e.g. of a file.
void writeBytes(StandardOutput& output, std::string_view bytes);
void writeJson(StandardOutput& output, const Json& report);
/// The same on one line, for one report of many.
void writeJsonLine(StandardOutput& output, const Json& report);

/// Writes "kelvora: LINE" on standard error; control characters become "?".
void say(const std::string& line);

/// Emphasis for a person's terminal; without colour every operation gives the text back.
class Style {
 public:
  /// Colour only on a terminal, and never where NO_COLOR is set to anything.
  explicit Style(const StandardOutput& output);
  std::string heading(std::string_view text) const;
  std::string faint(std::string_view text) const;
  std::string curve(std::string_view text) const;

 private:
  std::string wrapped(const char* code, std::string_view text) const;
  bool isColoured_;
};

}  // namespace kelvora::tool
