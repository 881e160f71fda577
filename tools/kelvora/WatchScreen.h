#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "tools/kelvora/Screen.h"

namespace kelvora::tool {

/// What the screen of `kelvora watch` shows, as texts in the user's language and units. Every text
/// is UTF-8 without control characters.
struct WatchContent {
  /// "CPU █████░░░░░ 48.0%". Without a fraction there is no bar.
  struct Meter {
    std::string label;
    std::string text;
    std::optional<double> fraction = std::nullopt;  ///< 0 to 1
    Tone tone = Tone::kPlain;
  };
  /// A sensor, or the heading above some.
  struct SensorRow {
    std::string name;
    std::string key = {};
    std::string value = {};
    std::optional<double> fraction = std::nullopt;  ///< of a fan's range, 0 to 1
    Tone tone = Tone::kPlain;                       ///< of the value
    bool isHeading = false;
  };
  struct ProcessRow {
    std::string pid;
    std::string name;
    std::string usage;
  };

  std::string title;
  std::string titleEnd;       ///< follows the title, and is not cut with it
  std::string time;           ///< at the end of the line
  std::vector<Meter> meters;  ///< the most important first: the others are left out if they must be
  std::string sensorsTitle;
  std::string sensorsNote;  ///< e.g. why there are none; empty for nothing
  std::vector<SensorRow> sensors;
  std::string processesTitle;
  std::string processesNote;
  std::vector<ProcessRow> processes;  ///< the busiest first
  std::string help;                   ///< the last line
  std::string tooSmall;               ///< shown alone in a terminal without space for the others
};

struct WatchSize {
  std::size_t columns = 0;
  std::size_t rows = 0;
};

struct WatchLayout {
  Screen screen;               ///< no line is longer, and there are no more lines, than asked for
  std::size_t scroll = 0;      ///< the first sensor row that shows: as asked for, or `mostScroll`
  std::size_t mostScroll = 0;  ///< where the last sensor row is on the last line
  std::size_t page = 0;        ///< how many sensor rows fit
};

/// The content on a screen of a size, from sensor row `scroll` on.
WatchLayout layOut(const WatchContent& content, WatchSize size, std::size_t scroll);

}  // namespace kelvora::tool
