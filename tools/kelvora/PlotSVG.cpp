#include "tools/kelvora/PlotSVG.h"

#include <span>
#include <string_view>

#include "KelvoraCore/KVExtension.h"

#include "tools/kelvora/Text.h"

namespace kelvora::tool {

namespace {

// The picture, and the field of the curve in it.
constexpr double kWidth = 860;
constexpr double kHeight = 420;
constexpr double kLeft = 84;
constexpr double kRight = 824;
constexpr double kTop = 96;
constexpr double kBottom = 360;

constexpr std::string_view kStyle = R"(  <style>
    svg {
      --back: #ffffff; --text: #1d1d1f; --faint: #6e6e73; --grid: #e5e5ea; --axis: #c7c7cc;
      --curve: #0b82fa;
      color-scheme: light dark;
      font: 13px system-ui, -apple-system, "Segoe UI", Roboto, "Helvetica Neue", Arial, sans-serif;
      font-variant-numeric: tabular-nums;
    }
    @media (prefers-color-scheme: dark) {
      svg {
        --back: #1e1e1e; --text: #f5f5f7; --faint: #98989d; --grid: #323234; --axis: #545458;
        --curve: #3b9bff;
      }
    }
    .back { fill: var(--back); }
    text { fill: var(--faint); }
    .title { fill: var(--text); font-size: 19px; font-weight: 600; }
    .start { text-anchor: start; }
    .end { text-anchor: end; }
    .middle { text-anchor: middle; }
    .grid { stroke: var(--grid); }
    .axis { stroke: var(--axis); }
    .curve { fill: none; stroke: var(--curve); stroke-width: 1.5; stroke-linejoin: round; stroke-linecap: round; }
    .dot { stroke-width: 4; }
    .area { fill: url(#shade); }
    .shade { stop-color: var(--curve); }
    .last { fill: var(--curve); stroke: var(--back); stroke-width: 2; }
  </style>
)";

// XML has no characters for what printable() replaces, nor for U+FFFE and U+FFFF.
std::string escaped(std::string_view text) {
  struct Replacement {
    std::string_view what;
    std::string_view with;
  };
  constexpr Replacement kEntities[] = {{"&", "&amp;"},        {"<", "&lt;"},
                                       {">", "&gt;"},         {"\"", "&quot;"},
                                       {"\xEF\xBF\xBE", "?"}, {"\xEF\xBF\xBF", "?"}};
  std::string result = printable(text);
  for (const Replacement& each : kEntities) {
    result = KVExtension::replace(result, each.what, each.with);
  }
  return result;
}

// A tenth of a unit is finer than any screen: "412.5", "84".
std::string number(double value) {
  const std::string result = fixedText(value, 1);
  return result.ends_with(".0") ? result.substr(0, result.size() - 2) : result;
}

double xOf(const Plot& plot, double seconds) {
  return kLeft + plot.times.fraction(seconds) * (kRight - kLeft);
}

double yOf(const Plot& plot, double value) {
  return kBottom - plot.values.fraction(value) * (kBottom - kTop);
}

std::string placeOf(const Plot& plot, const PlotPoint& point) {
  return number(xOf(plot, point.seconds)) + " " + number(yOf(plot, point.value));
}

std::string text(const char* classes, double x, double y, const std::string& content) {
  return std::string("  <text class=\"") + classes + "\" x=\"" + number(x) + "\" y=\"" + number(y) +
         "\">" + escaped(content) + "</text>\n";
}

std::string line(const char* classes, double x0, double y0, double x1, double y1) {
  return std::string("  <path class=\"") + classes + "\" d=\"M" + number(x0) + " " + number(y0) +
         "L" + number(x1) + " " + number(y1) + "\"/>\n";
}

// "Minimum 41°C · Maximum 78°C · Last 52°C"
std::string summaryOf(const Plot& plot) {
  std::string result;
  for (const std::string& part : plot.summary) {
    result += (result.empty() ? "" : " · ") + part;
  }
  return result;
}

std::string head(const Plot& plot) {
  const std::string size = number(kWidth) + " " + number(kHeight);
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
         "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 " +
         size + "\" width=\"" + number(kWidth) + "\" height=\"" + number(kHeight) +
         "\" role=\"img\" aria-labelledby=\"title summary\">\n  <title id=\"title\">" +
         escaped(plot.title + ", " + plot.range) + "</title>\n  <desc id=\"summary\">" +
         escaped(summaryOf(plot)) + "</desc>\n" + std::string(kStyle) +
         "  <defs>\n    <linearGradient id=\"shade\" x1=\"0\" y1=\"" + number(kTop) +
         "\" x2=\"0\" y2=\"" + number(kBottom) +
         "\" gradientUnits=\"userSpaceOnUse\">\n"
         "      <stop class=\"shade\" offset=\"0\" stop-opacity=\"0.35\"/>\n"
         "      <stop class=\"shade\" offset=\"1\" stop-opacity=\"0.03\"/>\n"
         "    </linearGradient>\n  </defs>\n"
         "  <rect class=\"back\" width=\"100%\" height=\"100%\"/>\n";
}

std::string heading(const Plot& plot) {
  constexpr std::size_t kMostTitle = 72;  // what fits; the document's title has all of it
  const std::string title =
      displayWidth(plot.title) > kMostTitle ? fitted(plot.title, kMostTitle) : plot.title;
  return text("title", kLeft, 40, title) + text("start", kLeft, 66, summaryOf(plot)) +
         text("end", kRight, 66, plot.range);
}

std::string valueAxisOf(const Plot& plot) {
  std::string result;
  for (const PlotTick& tick : plot.values.ticks) {
    const double y = yOf(plot, tick.position);
    result += line("grid", kLeft, y, kRight, y);
    result += text("end", kLeft - 12, y + 4.5, tick.label);
  }
  return result;
}

std::string timeAxisOf(const Plot& plot) {
  std::string result = line("axis", kLeft, kBottom, kRight, kBottom);
  for (const PlotTick& tick : plot.times.ticks) {
    const double x = xOf(plot, tick.position);
    result += line("axis", x, kBottom, x, kBottom + 6);
    result += text("middle", x, kBottom + 25, tick.label);
  }
  return result;
}

// A single reading is a line without length, which round ends make a dot.
std::string dotOf(const Plot& plot, const PlotPoint& point) {
  const std::string place = placeOf(plot, point);
  return "  <path class=\"curve dot\" d=\"M" + place + "L" + place + "\"/>\n";
}

std::string curveOf(const Plot& plot, std::span<const PlotPoint> piece) {
  if (piece.size() == 1) {
    return dotOf(plot, piece.front());
  }
  std::string way = "M" + placeOf(plot, piece.front());
  for (const PlotPoint& point : piece.subspan(1)) {
    way += "L" + placeOf(plot, point);
  }
  const std::string down = number(xOf(plot, piece.back().seconds)) + " " + number(kBottom) + "L" +
                           number(xOf(plot, piece.front().seconds)) + " " + number(kBottom);
  return "  <path class=\"area\" d=\"" + way + "L" + down + "Z\"/>\n" +
         "  <path class=\"curve\" d=\"" + way + "\"/>\n";
}

std::string curvesOf(const Plot& plot) {
  const auto pieces = piecesOfCurve(plot);
  std::string result;
  for (const auto& piece : pieces) {
    result += curveOf(plot, piece);
  }
  if (pieces.empty()) {
    result += text("middle", (kLeft + kRight) / 2, (kTop + kBottom) / 2, plot.remark);
  } else {
    const PlotPoint& last = pieces.back().back();
    result += "  <circle class=\"last\" cx=\"" + number(xOf(plot, last.seconds)) + "\" cy=\"" +
              number(yOf(plot, last.value)) + "\" r=\"5\"/>\n";
  }
  return result;
}

}  // namespace

std::string svgOfPlot(const Plot& plot) {
  return head(plot) + heading(plot) + valueAxisOf(plot) + timeAxisOf(plot) + curvesOf(plot) +
         "</svg>\n";
}

}  // namespace kelvora::tool
