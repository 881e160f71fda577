#include "tools/kelvora/WatchScreen.h"

#include <algorithm>
#include <utility>

#include "tools/kelvora/Text.h"
#include "tools/kelvora/UsageText.h"

namespace kelvora::tool {

namespace {

using Meter = WatchContent::Meter;
using SensorRow = WatchContent::SensorRow;

constexpr WatchSize kLeast{36, 8};
constexpr std::size_t kGap = 2;  // between columns

constexpr std::size_t kLeastMeter = 36;
constexpr std::size_t kNarrowMeterLabel = 12;  // a longer one is cut before its bar is short
constexpr std::size_t kLeastBar = 6;
constexpr std::size_t kGoodBar = 16;
constexpr std::size_t kMostBar = 40;

// Beside each other from this width on.
constexpr std::size_t kLeastSideBySide = 72;
constexpr std::size_t kLeastProcesses = 26;
constexpr std::size_t kMostProcesses = 44;

constexpr std::size_t kLeastSensors = 44;  // a column of them
constexpr std::size_t kLeastWithKey = 38;
constexpr std::size_t kNarrowKey = 8;  // a longer one is cut before a name is
constexpr std::size_t kIndent = 2;

struct Area {
  std::size_t row;
  std::size_t column;
  std::size_t rows;
  std::size_t columns;
};

std::size_t roundedUp(std::size_t number, std::size_t by) { return (number + by - 1) / by; }

/// Puts texts into places; what is empty takes no span.
class Canvas {
 public:
  explicit Canvas(std::size_t rows) : screen_(rows) {}

  void put(std::size_t row, std::size_t column, const std::string& text, Tone tone) {
    if (!text.empty()) {
      screen_.at(row).push_back({column, text, tone});
    }
  }
  // Cut where `width` ends, without blanks at its end.
  void putCut(std::size_t row, std::size_t column, const std::string& text, std::size_t width,
              Tone tone) {
    put(row, column, displayWidth(text) <= width ? text : fitted(text, width), tone);
  }
  // Its last character is before `end`.
  void putBefore(std::size_t row, std::size_t end, const std::string& text, Tone tone) {
    put(row, end - std::min(end, displayWidth(text)), text, tone);
  }
  Screen take() { return std::move(screen_); }

 private:
  Screen screen_;
};

void putTitle(Canvas& canvas, const WatchContent& content, std::size_t columns) {
  const std::string time = " " + content.time + " ";
  const std::size_t width = columns - std::min(columns, displayWidth(time));
  const std::size_t title = width - std::min(width, displayWidth(content.titleEnd));
  const std::string start = " " + content.title;
  const std::string shown = displayWidth(start) <= title ? start : fitted(start, title);
  canvas.put(0, 0, fitted(shown + content.titleEnd, width) + fitted(time, columns - width),
             Tone::kTitle);
}

/// The columns inside of meters: bars begin and end below each other.
struct MeterColumns {
  MeterColumns(const std::vector<Meter>& meters, std::size_t width) {
    for (const Meter& meter : meters) {
      label = std::max(label, displayWidth(meter.label));
      text = std::max(text, meter.fraction ? displayWidth(meter.text) : 0);
    }
    const std::size_t others = kGoodBar + text + 2;
    label = std::min(label, std::max(kNarrowMeterLabel, width - std::min(width, others)));
  }
  std::size_t label = 0;
  std::size_t text = 0;  // beside a bar
};

void putMeter(Canvas& canvas, const Meter& meter, const Area& cell, const MeterColumns& columns) {
  canvas.putCut(cell.row, cell.column, meter.label, columns.label, Tone::kPlain);
  const std::size_t start = columns.label + 1;
  const std::size_t space = cell.columns - std::min(cell.columns, start);
  const std::size_t bar = std::min(space - std::min(space, columns.text + 1), kMostBar);
  if (!meter.fraction || bar < kLeastBar) {
    canvas.putCut(cell.row, cell.column + start, meter.text, space, Tone::kPlain);
    return;
  }
  canvas.put(cell.row, cell.column + start, barText(*meter.fraction, bar), meter.tone);
  canvas.put(cell.row, cell.column + start + bar + 1, meter.text, Tone::kPlain);
}

// How many rows it took.
std::size_t putMeters(Canvas& canvas, const std::vector<Meter>& meters, const Area& area) {
  if (meters.empty()) {
    return 0;
  }
  const std::size_t across = std::clamp<std::size_t>((area.columns + kGap) / (kLeastMeter + kGap),
                                                     1, std::min<std::size_t>(meters.size(), 3));
  const std::size_t rows = std::min(roundedUp(meters.size(), across), area.rows);
  const std::size_t width = (area.columns + kGap) / across - kGap;
  const MeterColumns columns(meters, width);
  for (std::size_t i = 0; i < std::min(meters.size(), rows * across); ++i) {
    const Area cell{area.row + i / across, area.column + i % across * (width + kGap), 1, width};
    putMeter(canvas, meters[i], cell, columns);
  }
  return rows;
}

/// The columns inside a column of sensors.
struct SensorColumns {
  SensorColumns(const std::vector<SensorRow>& rows, std::size_t columnWidth) : width(columnWidth) {
    std::size_t longest = 0;
    for (const SensorRow& row : rows) {
      longest = std::max(longest, row.isHeading ? 0 : displayWidth(row.name));
      value = std::max(value, displayWidth(row.value));
      key = std::max(key, displayWidth(row.key));
    }
    const std::size_t room = width - std::min(width, kIndent + longest + kGap + value + 1);
    key = width < kLeastWithKey ? 0 : std::min(key, std::max(kNarrowKey, room));
    const std::size_t others = kIndent + value + 1 + (key > 0 ? key + kGap : 0);
    name = width - std::min(width, others);
  }
  std::size_t width;
  std::size_t name = 0;
  std::size_t key = 0;
  std::size_t value = 0;
};

void putSensor(Canvas& canvas, const SensorRow& row, const SensorColumns& columns, std::size_t line,
               std::size_t column) {
  if (row.isHeading) {
    canvas.putCut(line, column, row.name, columns.width, Tone::kFaint);
    return;
  }
  const std::size_t bar = row.fraction ? std::min(columns.name / 2, kMostBar / 2) : 0;
  const bool hasBar = bar >= kLeastBar;
  const std::size_t name = hasBar ? columns.name - bar - 1 : columns.name;
  canvas.putCut(line, column + kIndent, row.name, name, Tone::kPlain);
  if (hasBar) {
    canvas.put(line, column + kIndent + name + 1, barText(*row.fraction, bar), row.tone);
  }
  if (columns.key > 0) {
    canvas.putCut(line, column + kIndent + columns.name + 1, row.key, columns.key, Tone::kFaint);
  }
  canvas.putBefore(line, column + columns.width, row.value, row.tone);
}

void putHeading(Canvas& canvas, const Area& area, const std::string& title,
                const std::string& right) {
  const std::size_t rightWidth = displayWidth(right);
  const bool fits = rightWidth + kGap < area.columns / 2;
  canvas.putCut(area.row, area.column, title, area.columns - (fits ? rightWidth + kGap : 0),
                Tone::kHeading);
  if (fits) {
    canvas.putBefore(area.row, area.column + area.columns, right, Tone::kFaint);
  }
}

// "13-28/164"; empty where all of them show.
std::string placeText(std::size_t scroll, std::size_t shown, std::size_t all) {
  return shown >= all ? ""
                      : std::to_string(scroll + 1) + "-" + std::to_string(scroll + shown) + "/" +
                            std::to_string(all);
}

void putNote(Canvas& canvas, const Area& area, const std::string& note) {
  const std::vector<std::string> lines = wrapped(note, area.columns - kIndent);
  for (std::size_t i = 0; i < std::min(lines.size(), area.rows); ++i) {
    canvas.putCut(area.row + i, area.column + kIndent, lines[i], area.columns - kIndent,
                  Tone::kPlain);
  }
}

Area belowHeading(const Area& area) {
  return {area.row + 1, area.column, area.rows - 1, area.columns};
}

void putSensors(Canvas& canvas, const WatchContent& content, const Area& area,
                WatchLayout& layout) {
  const std::vector<SensorRow>& sensors = content.sensors;
  const Area list = belowHeading(area);
  const std::size_t across =
      std::max<std::size_t>(1, (area.columns + kGap) / (kLeastSensors + kGap));
  const std::size_t width = (area.columns + kGap) / across - kGap;
  layout.page = list.rows * across;
  layout.mostScroll = sensors.size() - std::min(sensors.size(), layout.page);
  layout.scroll = std::min(layout.scroll, layout.mostScroll);
  const std::size_t shown = std::min(sensors.size() - layout.scroll, layout.page);
  putHeading(canvas, area, content.sensorsTitle, placeText(layout.scroll, shown, sensors.size()));
  if (sensors.empty()) {
    putNote(canvas, list, content.sensorsNote);
    return;
  }
  const auto first = sensors.begin() + static_cast<std::ptrdiff_t>(layout.scroll);
  const std::vector<SensorRow> rows(first, first + static_cast<std::ptrdiff_t>(shown));
  const SensorColumns columns(rows, width);
  for (std::size_t i = 0; i < rows.size(); ++i) {
    putSensor(canvas, rows[i], columns, list.row + i % list.rows,
              list.column + i / list.rows * (width + kGap));
  }
}

void putProcesses(Canvas& canvas, const WatchContent& content, const Area& area) {
  std::size_t pid = 0;
  std::size_t usage = 0;
  for (const WatchContent::ProcessRow& process : content.processes) {
    pid = std::max(pid, displayWidth(process.pid));
    usage = std::max(usage, displayWidth(process.usage));
  }
  const std::size_t others = kIndent + pid + 1 + usage + 1;
  putHeading(canvas, area, content.processesTitle, "");
  const Area list = belowHeading(area);
  if (content.processes.empty()) {
    putNote(canvas, list, content.processesNote);
    return;
  }
  for (std::size_t i = 0; i < std::min(content.processes.size(), list.rows); ++i) {
    const WatchContent::ProcessRow& process = content.processes[i];
    const std::size_t name = kIndent + pid + 1;
    canvas.putBefore(list.row + i, list.column + kIndent + pid, process.pid, Tone::kFaint);
    canvas.putCut(list.row + i, list.column + name, process.name,
                  list.columns - std::min(list.columns, others), Tone::kPlain);
    canvas.putBefore(list.row + i, list.column + list.columns, process.usage, Tone::kPlain);
  }
}

// Beside the sensors where there is the width for it, else below them where there is the height.
void putBody(Canvas& canvas, const WatchContent& content, const Area& area, WatchLayout& layout) {
  if (area.columns >= kLeastSideBySide) {
    const std::size_t width = std::clamp(area.columns / 3, kLeastProcesses, kMostProcesses);
    const std::size_t left = area.columns - width - kGap;
    putSensors(canvas, content, {area.row, area.column, area.rows, left}, layout);
    putProcesses(canvas, content, {area.row, area.column + left + kGap, area.rows, width});
    return;
  }
  constexpr std::size_t kLeastRowsForBoth = 6;
  const std::size_t below =
      area.rows < kLeastRowsForBoth ? 0 : std::max<std::size_t>(2, area.rows / 3);
  putSensors(canvas, content, {area.row, area.column, area.rows - below, area.columns}, layout);
  if (below > 0) {
    putProcesses(canvas, content, {area.row + area.rows - below, area.column, below, area.columns});
  }
}

Screen tooSmallScreen(const std::string& text, WatchSize size) {
  Canvas canvas(size.rows);
  const std::vector<std::string> lines = wrapped(text, size.columns);
  for (std::size_t i = 0; i < std::min(lines.size(), size.rows); ++i) {
    canvas.putCut(i, 0, lines[i], size.columns, Tone::kPlain);
  }
  return canvas.take();
}

}  // namespace

WatchLayout layOut(const WatchContent& content, WatchSize size, std::size_t scroll) {
  WatchLayout layout;
  layout.scroll = scroll;
  if (size.columns < kLeast.columns || size.rows < kLeast.rows) {
    layout.screen = tooSmallScreen(content.tooSmall, size);
    return layout;
  }
  constexpr std::size_t kTallEnoughForGaps = 20;
  const std::size_t gap = size.rows >= kTallEnoughForGaps ? 1 : 0;
  Canvas canvas(size.rows);
  putTitle(canvas, content, size.columns);
  const std::size_t mostMeters = std::max<std::size_t>(2, size.rows / 4);
  const std::size_t meters =
      putMeters(canvas, content.meters, {1, 1, mostMeters, size.columns - 2});
  const std::size_t first = 1 + meters + gap;
  putBody(canvas, content, {first, 1, size.rows - first - 1 - gap, size.columns - 2}, layout);
  canvas.putCut(size.rows - 1, 1, content.help, size.columns - 2, Tone::kFaint);
  layout.screen = canvas.take();
  return layout;
}

}  // namespace kelvora::tool
