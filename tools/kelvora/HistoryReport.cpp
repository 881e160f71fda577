#include "tools/kelvora/HistoryReport.h"

#include <algorithm>
#include <chrono>
#include <cmath>

#include <nlohmann/json.hpp>

#include "KelvoraCore/KVExtension.h"

#include "tools/kelvora/CharacterSet.h"
#include "tools/kelvora/HistoryPlot.h"
#include "tools/kelvora/OrNull.h"
#include "tools/kelvora/PlotText.h"
#include "tools/kelvora/SensorText.h"
#include "tools/kelvora/Text.h"

namespace kelvora::tool {

namespace {

constexpr std::size_t kColumnsElsewhere = 80;

std::string timeText(double seconds) {
  const std::chrono::duration<double> sinceEpoch(seconds);
  return isoTime(KVExtension::Date(std::chrono::floor<KVExtension::Date::duration>(sinceEpoch)));
}

const PlotCanvas::Signs& signsOfLocale() {
  const bool hasBraille = isInCharacterSetOfLocale("⠿│┤─┬└");
  return hasBraille ? PlotCanvas::braille() : PlotCanvas::ascii();
}

std::string wrappedLines(const std::vector<std::string>& parts, std::size_t columns) {
  constexpr std::string_view kGap = "   ";
  std::string text;
  std::size_t used = 0;
  for (const std::string& part : parts) {
    const std::size_t width = displayWidth(part);
    const bool fits = used + kGap.size() + width <= columns;
    text += used == 0 ? "" : fits ? kGap : "\n";
    text += part;
    used = used != 0 && fits ? used + kGap.size() + width : width;
  }
  return text + "\n";
}

std::string headingOf(const Plot& plot, std::size_t columns, const Style& style) {
  constexpr std::size_t kGap = 2;
  const std::string title = printable(plot.title);
  const std::size_t width = displayWidth(title) + kGap + displayWidth(plot.range);
  return style.heading(displayWidth(title) > columns ? fitted(title, columns) : title) +
         (width <= columns ? std::string(columns - width + kGap, ' ') : "\n") +
         style.faint(plot.range) + "\n\n";
}

std::string plotText(const Plot& plot, std::size_t columns, std::size_t rows, const Style& style) {
  std::string text;
  for (const PlotLine& line : plotLines(plot, columns, rows, signsOfLocale())) {
    text += style.faint(line.axis) + (line.curve.empty() ? "" : style.curve(line.curve)) + "\n";
  }
  return text + "\n";
}

Json jsonValueOf(const std::optional<HistoryPoint>& point) {
  return point ? jsonNumber(point->raw) : Json(nullptr);
}

}  // namespace

const std::vector<std::string>& timeRangeNames() {
  static const std::vector<std::string> names{"hour", "day", "week"};
  return names;
}

void writeHistoryText(StandardOutput& output, const SensorHistory& history, KVSettings& settings,
                      const KVLocalized::Texts& texts) {
  const auto terminal = static_cast<std::size_t>(output.columns());
  const std::size_t columns = terminal == 0 ? kColumnsElsewhere : terminal;
  const std::size_t rows = rowsOfPlot(columns);
  const Plot plot = plotOfHistory(history, mostStepsOfPlot(rows), settings, texts);
  const Style style(output);
  std::string text = headingOf(plot, columns, style);
  text += history.last() ? plotText(plot, columns, rows, style) : plot.remark + "\n";
  writeText(output, plot.summary.empty() ? text : text + wrappedLines(plot.summary, columns));
}

Json jsonHistory(const SensorHistory& history) {
  const auto unit = rawUnit(history.categoryType);
  Json points = Json::array();
  for (const HistoryPoint& point : history.points) {
    points.push_back({{"time", timeText(point.seconds)}, {"value", jsonNumber(point.raw)}});
  }
  return {
      {"sensor", {{"key", history.key}, {"name", history.name}, {"fullName", history.fullName}}},
      {"unit", orNull(unit)},
      {"range", timeRangeNames().at(static_cast<std::size_t>(history.timeRange))},
      {"from", timeText(history.axis.front().time)},
      {"until", timeText(history.axis.back().time)},
      {"minimum", jsonValueOf(history.minimum())},
      {"maximum", jsonValueOf(history.maximum())},
      {"last", jsonValueOf(history.last())},
      {"points", std::move(points)}};
}

std::string csvHistory(const SensorHistory& history) {
  const auto unit = rawUnit(history.categoryType);
  std::string text = "time,value" + (unit ? " (" + *unit + ")" : "") + "\n";
  for (const HistoryPoint& point : history.points) {
    text += timeText(point.seconds) + ",";
    if (std::isfinite(point.raw)) {
      text += shortestText(point.raw);
    }
    text += "\n";
  }
  return text;
}

}  // namespace kelvora::tool
