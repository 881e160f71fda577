#include "tools/kelvora/PlotText.h"

#include <algorithm>
#include <cmath>
#include <span>

#include "tools/kelvora/Text.h"

namespace kelvora::tool {

namespace {

constexpr std::size_t kLeastColumns = 10;
constexpr std::size_t kMostLabel = 14;

// The dot of a place on an axis.
std::ptrdiff_t dotAt(double fraction, std::size_t dots) {
  return std::lround(fraction * static_cast<double>(dots - 1));
}

struct Frame {
  Frame(const Plot& shown, std::size_t width, std::size_t height, const PlotCanvas::Signs& its)
      : plot(shown), rows(height), signs(its) {
    for (const PlotTick& tick : plot.values.ticks) {
      label = std::clamp(displayWidth(tick.label), label, kMostLabel);
    }
    const std::size_t axis = label + 2;  // a blank and the axis itself
    columns = std::max(width, axis + kLeastColumns) - axis;
  }
  std::ptrdiff_t x(double seconds, std::size_t dots) const {
    return dotAt(plot.times.fraction(seconds), dots);
  }
  std::ptrdiff_t y(double value, std::size_t dots) const {
    return dotAt(1 - plot.values.fraction(value), dots);
  }
  const Plot& plot;
  std::size_t rows;
  const PlotCanvas::Signs& signs;
  std::size_t label = 0;
  std::size_t columns = 0;
};

void drawPiece(PlotCanvas& canvas, const Frame& frame, std::span<const PlotPoint> piece) {
  const PlotPoint* before = &piece.front();
  for (const PlotPoint& point : piece) {
    canvas.line(
        frame.x(before->seconds, canvas.dotsAcross()), frame.y(before->value, canvas.dotsDown()),
        frame.x(point.seconds, canvas.dotsAcross()), frame.y(point.value, canvas.dotsDown()));
    before = &point;
  }
}

// The label and the axis of a row of cells.
std::string axisOfRow(const Frame& frame, std::size_t row) {
  const std::size_t down = frame.signs.down;
  for (const PlotTick& tick : frame.plot.values.ticks) {
    if (static_cast<std::size_t>(frame.y(tick.position, frame.rows * down)) / down == row) {
      return rightAligned(displayWidth(tick.label) > frame.label ? fitted(tick.label, frame.label)
                                                                 : tick.label,
                          frame.label) +
             " " + frame.signs.tick;
    }
  }
  return std::string(frame.label + 1, ' ') + frame.signs.vertical;
}

std::string timeAxisLine(const Frame& frame) {
  std::vector<const char*> line(frame.columns, frame.signs.horizontal);
  for (const PlotTick& tick : frame.plot.times.ticks) {
    line[static_cast<std::size_t>(frame.x(tick.position, frame.columns))] = frame.signs.timeTick;
  }
  std::string text = std::string(frame.label + 1, ' ') + frame.signs.corner;
  for (const char* sign : line) {
    text += sign;
  }
  return text;
}

/// A label of the time axis, and the column where it begins.
struct PlacedLabel {
  std::size_t column = 0;
  std::string text;
};

// In the middle under its tick, as far as the line goes.
PlacedLabel placed(const Frame& frame, const PlotTick& tick) {
  const std::size_t axis = frame.label + 2;
  const std::size_t width = displayWidth(tick.label);
  const std::size_t middle = axis + static_cast<std::size_t>(frame.x(tick.position, frame.columns));
  const std::size_t begin = middle - std::min(middle, width / 2);
  const std::size_t most = axis + frame.columns;
  return {std::min(begin, most - std::min(most, width)), tick.label};
}

// Every n-th label, counted from the last one, which is now.
std::vector<PlacedLabel> everyNth(const std::vector<PlacedLabel>& all, std::size_t n) {
  std::vector<PlacedLabel> some;
  for (std::size_t i = (all.size() - 1) % n; i < all.size(); i += n) {
    some.push_back(all[i]);
  }
  return some;
}

bool haveSpace(const std::vector<PlacedLabel>& labels) {
  for (std::size_t i = 1; i < labels.size(); ++i) {
    if (labels[i].column < labels[i - 1].column + displayWidth(labels[i - 1].text) + 2) {
      return false;
    }
  }
  return true;
}

std::string timeLabelLine(const Frame& frame) {
  std::vector<PlacedLabel> all;
  for (const PlotTick& tick : frame.plot.times.ticks) {
    all.push_back(placed(frame, tick));
  }
  std::vector<PlacedLabel> shown = all;
  for (std::size_t n = 2; !haveSpace(shown); ++n) {
    shown = everyNth(all, n);
  }
  std::string line;
  for (const PlacedLabel& label : shown) {
    line += std::string(label.column - displayWidth(line), ' ') + label.text;
  }
  return line;
}

}  // namespace

std::size_t rowsOfPlot(std::size_t columns) { return std::clamp<std::size_t>(columns / 6, 8, 20); }

int mostStepsOfPlot(std::size_t rows) { return static_cast<int>((rows - 1) / 2); }

std::vector<PlotLine> plotLines(const Plot& plot, std::size_t columns, std::size_t rows,
                                const PlotCanvas::Signs& signs) {
  const Frame frame(plot, columns, rows, signs);
  PlotCanvas canvas(frame.columns, rows, signs);
  for (const auto& piece : piecesOfCurve(plot)) {
    drawPiece(canvas, frame, piece);
  }
  std::vector<PlotLine> lines;
  for (std::size_t row = 0; row < rows; ++row) {
    lines.push_back({axisOfRow(frame, row), canvas.row(row)});
  }
  lines.push_back({timeAxisLine(frame), ""});
  lines.push_back({timeLabelLine(frame), ""});
  return lines;
}

}  // namespace kelvora::tool
