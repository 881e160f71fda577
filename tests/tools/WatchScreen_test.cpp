#include "tools/kelvora/WatchScreen.h"

#include <algorithm>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/kelvora/Text.h"

namespace kelvora::tool {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

std::string trimmedEnd(std::string text) {
  text.erase(text.find_last_not_of(' ') + 1);
  return text;
}

// A line as a terminal shows it, without blanks at its end.
std::string textOf(const ScreenLine& line) {
  std::string text;
  for (const Span& span : line) {
    text += std::string(span.column - std::min(span.column, displayWidth(text)), ' ') + span.text;
  }
  return trimmedEnd(text);
}

std::vector<std::string> linesOf(const Screen& screen) {
  std::vector<std::string> lines;
  lines.reserve(screen.size());
  for (const ScreenLine& line : screen) {
    lines.push_back(textOf(line));
  }
  return lines;
}

std::string joined(const Screen& screen) {
  std::string text;
  for (const std::string& line : linesOf(screen)) {
    text += line + "\n";
  }
  return text;
}

// Nothing is beside or below the screen, and no text covers another.
void expectWithin(const Screen& screen, WatchSize size) {
  EXPECT_LE(screen.size(), size.rows);
  for (const ScreenLine& line : screen) {
    std::size_t end = 0;
    for (const Span& span : line) {
      EXPECT_GE(span.column, end) << textOf(line);
      end = span.column + displayWidth(span.text);
      EXPECT_LE(end, size.columns) << textOf(line);
    }
  }
}

WatchContent smallContent() {
  WatchContent content;
  content.title = "Test Mac";
  content.titleEnd = " (recording)";
  content.time = "14:05:09";
  content.meters = {{"CPU", "50.0%", 0.5, Tone::kGood},
                    {"Memory", "25% / 16 GB", 0.25, Tone::kGood},
                    {"Network", "in 1 KB/s"}};
  content.sensorsTitle = "Sensors";
  content.sensors = {{.name = "Fans", .isHeading = true},
                     {"Fan 1", "0", "3000rpm", 0.5, Tone::kGood, false},
                     {.name = "CPU", .isHeading = true},
                     {"CPU Proximity", "TC0P", "95°C", std::nullopt, Tone::kWarm, false}};
  content.processesTitle = "Processes";
  content.processes = {{"412", "Safari", "38.4%"}, {"9", "launchd", "0.3%"}};
  content.help = "q quit";
  content.tooSmall = "The terminal is too small.";
  return content;
}

WatchContent longContent(const std::string& word, std::size_t sensors) {
  WatchContent content = smallContent();
  const auto longName = [&](std::size_t number) {
    return word + " " + std::to_string(number) + " " + word + word + word + word;
  };
  content.title = longName(0);
  content.sensorsTitle = longName(1);
  content.processesTitle = longName(2);
  content.help = longName(3);
  content.tooSmall = longName(4);
  content.sensors.clear();
  for (std::size_t i = 0; i < sensors; ++i) {
    content.sensors.push_back({longName(i), word + word, std::to_string(i) + "°C",
                               i % 3 == 0 ? std::optional(0.3) : std::nullopt, Tone::kPlain,
                               i % 7 == 0});
    content.processes.push_back({std::to_string(i), longName(i), "0.0%"});
  }
  content.meters.assign(6, {word + word, word + " / " + word, 0.7, Tone::kGood});
  return content;
}

TEST(WatchScreen, EverythingHasItsPlaceOn80By24) {
  const WatchLayout layout = layOut(smallContent(), {80, 24}, 0);
  const std::vector<std::string> lines = linesOf(layout.screen);
  ASSERT_EQ(lines.size(), 24U);
  EXPECT_EQ(lines[0],
            " Test Mac (recording)                                                  14:05:09");
  EXPECT_EQ(lines[1],
            " CPU     █████████░░░░░░░░░ 50.0%        Memory  █████░░░░░░░░░░░░░ 25% / 16 GB");
  EXPECT_EQ(lines[2], " Network in 1 KB/s");
  EXPECT_EQ(lines[3], "");
  EXPECT_EQ(lines[4], " Sensors                                             Processes");
  EXPECT_THAT(lines[5], ::testing::StartsWith(" Fans"));
  EXPECT_THAT(lines[6], ::testing::StartsWith("   Fan 1 "));
  EXPECT_THAT(lines[6], HasSubstr("█████░░░░░"));
  EXPECT_THAT(lines[6], HasSubstr("0     3000rpm      9 launchd         0.3%"));
  EXPECT_THAT(lines[8], ::testing::StartsWith("   CPU Proximity "));
  EXPECT_THAT(lines[8], ::testing::EndsWith("TC0P     95°C"));
  EXPECT_EQ(lines[23], " q quit");
}

TEST(WatchScreen, NothingLeavesTheScreenAndNothingIsCoveredAtAnySize) {
  for (const std::string word : {"Temperature", "传感器温度", "حرارة", "Lüfterdrehzahl", "x"}) {
    const WatchContent content = longContent(word, 90);
    for (std::size_t columns = 1; columns <= 210; columns += columns < 90 ? 1 : 17) {
      for (const std::size_t rows : {1, 5, 7, 8, 10, 15, 19, 20, 24, 60}) {
        for (const std::size_t scroll : {0, 13, 1000}) {
          const WatchSize size{columns, rows};
          SCOPED_TRACE(word + " " + std::to_string(columns) + "x" + std::to_string(rows));
          expectWithin(layOut(content, size, scroll).screen, size);
        }
      }
    }
  }
}

TEST(WatchScreen, ANarrowScreenShowsTheMostImportantAndProcessesBelow) {
  const std::vector<std::string> lines = linesOf(layOut(smallContent(), {40, 10}, 0).screen);
  EXPECT_THAT(lines, ElementsAre(" Test Mac (recording)          14:05:09",
                                 " CPU     █████████░░░░░░░░░ 50.0%",
                                 " Memory  █████░░░░░░░░░░░░░ 25% / 16 GB",
                                 " Sensors                          1-3/4", " Fans",
                                 ::testing::StartsWith("   Fan 1"), " CPU", " Processes",
                                 "   412 Safari                     38.4%", " q quit"));
}

TEST(WatchScreen, ProcessesAreBesideTheSensorsFrom74ColumnsOn) {
  const auto headings = [](std::size_t columns) {
    return joined(layOut(smallContent(), {columns, 24}, 0).screen);
  };
  EXPECT_THAT(headings(74), ::testing::ContainsRegex("\n Sensors +Processes\n"));
  EXPECT_THAT(headings(73), HasSubstr("\n Sensors\n"));
}

TEST(WatchScreen, ThePlaceInAListIsLeftOutWhereItTakesHalfOfTheLine) {
  WatchContent content = smallContent();
  const auto atTheEndOf = [&](std::size_t sensors) {
    content.sensors.assign(sensors, {.name = "x", .value = "1V"});
    return joined(layOut(content, {36, 12}, sensors).screen);
  };
  EXPECT_THAT(atTheEndOf(1000), HasSubstr("/1000\n"));
  EXPECT_THAT(atTheEndOf(100'000), Not(HasSubstr("/100000")));
}

TEST(WatchScreen, WithoutKeysNamesTakeTheirPlace) {
  WatchContent content = smallContent();
  content.sensors = {{.name = std::string(60, 'x'), .value = "1V"}};
  const std::string shown = joined(layOut(content, {60, 24}, 0).screen);
  EXPECT_THAT(shown, HasSubstr("\n   " + std::string(52, 'x') + "… 1V\n"));
}

TEST(WatchScreen, LabelsAndKeysAreCutOnlyWhereThereIsNoRoom) {
  WatchContent content = smallContent();
  content.meters = {{"Speicherbelegung", "25% / 16 GB", 0.25, Tone::kGood}};
  content.sensors = {{"Battery of the Mac", "gas gauge battery", "31°C"}};
  content.processes.clear();
  content.processesTitle.clear();
  const std::string wide = joined(layOut(content, {60, 12}, 0).screen);
  EXPECT_THAT(wide, HasSubstr(" Speicherbelegung █"));
  EXPECT_THAT(wide, HasSubstr(" gas gauge battery"));
  const std::string narrow = joined(layOut(content, {40, 12}, 0).screen);
  EXPECT_THAT(narrow, HasSubstr(" Speicherbel… ██"));
  EXPECT_THAT(narrow, Not(HasSubstr(" gas gauge battery")));
}

TEST(WatchScreen, ATitleIsCutBeforeWhatSaysThatItIsARecording) {
  WatchContent content = smallContent();
  content.title = std::string(100, 'T');
  const std::vector<std::string> lines = linesOf(layOut(content, {60, 10}, 0).screen);
  EXPECT_THAT(lines[0], HasSubstr("T… (recording) "));
  EXPECT_THAT(lines[0], ::testing::EndsWith(" 14:05:09"));
}

TEST(WatchScreen, AWideScreenHasSensorsInSeveralColumnsThatReadDownwards) {
  WatchContent content = smallContent();
  content.sensors.clear();
  for (int i = 0; i < 300; ++i) {
    content.sensors.push_back({"S" + std::to_string(i), "K", "1V"});
  }
  const WatchLayout layout = layOut(content, {200, 60}, 0);
  const std::vector<std::string> lines = linesOf(layout.screen);
  const std::size_t rows = layout.page / 3;
  EXPECT_EQ(layout.page % 3, 0U);
  EXPECT_THAT(lines[4], HasSubstr("S0 "));
  EXPECT_THAT(lines[4], HasSubstr("S" + std::to_string(rows) + " "));
  EXPECT_THAT(lines[4], HasSubstr("S" + std::to_string(2 * rows) + " "));
  EXPECT_THAT(lines[5], HasSubstr("S1 "));
}

TEST(WatchScreen, ScrollingEndsWithTheLastSensorOnTheLastLine) {
  const WatchContent content = longContent("x", 90);
  const WatchLayout end = layOut(content, {80, 24}, 100'000);
  EXPECT_EQ(end.scroll, 90 - end.page);
  EXPECT_EQ(end.mostScroll, end.scroll);
  EXPECT_THAT(joined(end.screen), HasSubstr("/90"));
  EXPECT_THAT(joined(end.screen), HasSubstr("x 89 "));
  EXPECT_THAT(joined(end.screen), Not(HasSubstr(" 5°C")));
  const WatchLayout middle = layOut(content, {80, 24}, 7);
  EXPECT_EQ(middle.scroll, 7U);
  EXPECT_THAT(joined(middle.screen), HasSubstr("8-" + std::to_string(7 + middle.page) + "/90"));
}

TEST(WatchScreen, WhatFitsNeverScrolls) {
  EXPECT_EQ(layOut(smallContent(), {80, 24}, 3).scroll, 0U);
}

TEST(WatchScreen, NotesTakeThePlaceOfEmptyListsAndAreWrapped) {
  WatchContent content = smallContent();
  content.sensors.clear();
  content.sensorsNote = "This computer has no sensors at all, as far as anybody could see or say.";
  content.processes.clear();
  content.processesNote = "No list.";
  const std::string text = joined(layOut(content, {80, 24}, 5).screen);
  EXPECT_THAT(text, HasSubstr("   This computer has no sensors at all"));
  EXPECT_THAT(text, HasSubstr("say."));
  EXPECT_THAT(text, HasSubstr("No list."));
}

TEST(WatchScreen, ATerminalThatIsTooSmallSaysSo) {
  EXPECT_THAT(linesOf(layOut(smallContent(), {20, 5}, 0).screen),
              ElementsAre("The terminal is too", "small.", "", "", ""));
  EXPECT_THAT(joined(layOut(smallContent(), {35, 24}, 0).screen), Not(HasSubstr("Sensors")));
  EXPECT_THAT(joined(layOut(smallContent(), {36, 8}, 0).screen), HasSubstr("Sensors"));
}

TEST(WatchScreen, ABarIsNeverLongerThanItsPlace) {
  for (const double fraction : {-3.0, 7.0, 1.0 / 0.0, 0.0 / 0.0}) {
    WatchContent content = smallContent();
    content.meters[0].fraction = fraction;
    expectWithin(layOut(content, {40, 24}, 0).screen, {80, 24});
  }
}

TEST(WatchScreen, ABarOfLessThanSixColumnsIsLeftOut) {
  std::size_t shortest = 100;
  for (std::size_t length = 1; length < 40; ++length) {
    WatchContent content = smallContent();
    content.meters = {{"CPU", std::string(length, 'x'), 0.5, Tone::kGood}};
    content.sensors.clear();
    for (const ScreenLine& line : layOut(content, {40, 24}, 0).screen) {
      for (const Span& span : line) {
        if (span.text.starts_with("█")) {
          shortest = std::min(shortest, displayWidth(span.text));
        }
      }
    }
  }
  EXPECT_EQ(shortest, 6U);
}

TEST(WatchScreen, TonesMarkTitlesHeadingsAndHotValues) {
  const Screen screen = layOut(smallContent(), {80, 24}, 0).screen;
  EXPECT_EQ(screen[0].front().tone, Tone::kTitle);
  EXPECT_EQ(screen[4].front().tone, Tone::kHeading);
  const auto warm = std::ranges::find(screen[8], "95°C", &Span::text);
  ASSERT_NE(warm, screen[8].end());
  EXPECT_EQ(warm->tone, Tone::kWarm);
}

}  // namespace
}  // namespace kelvora::tool
