// Axes, pieces of curve, and the drawing in text.

#include "tools/kelvora/Plot.h"

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/kelvora/PlotAxis.h"
#include "tools/kelvora/PlotCanvas.h"
#include "tools/kelvora/PlotText.h"
#include "tools/kelvora/Text.h"

namespace kelvora::tool {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

std::string plain(double value) {
  std::string text = std::to_string(value);
  text.erase(text.find_last_not_of('0') + 1);
  return text.ends_with(".") ? text.substr(0, text.size() - 1) : text;
}

std::vector<std::string> labels(const PlotAxis& axis) {
  std::vector<std::string> texts;
  for (const PlotTick& tick : axis.ticks) {
    texts.push_back(tick.label);
  }
  return texts;
}

std::vector<std::string> valueLabels(PlotValues values, int mostSteps) {
  return labels(valueAxis(values, mostSteps, plain));
}

TEST(PlotAxis, ValuesAreBetweenRoundTicks) {
  EXPECT_THAT(valueLabels({41.5, 77, 1}, 5), ElementsAre("40", "50", "60", "70", "80"));
  EXPECT_THAT(valueLabels({41.5, 77, 1}, 4), ElementsAre("40", "50", "60", "70", "80"));
  EXPECT_THAT(valueLabels({41.5, 77, 1}, 3), ElementsAre("40", "60", "80"));
  EXPECT_THAT(valueLabels({0, 110, 1}, 6), ElementsAre("0", "20", "40", "60", "80", "100", "120"));
  EXPECT_THAT(valueLabels({0, 6200, 1}, 6), ElementsAre("0", "2000", "4000", "6000", "8000"));
  EXPECT_THAT(valueLabels({11.97, 12.31, 0.01}, 5),
              ElementsAre("11.9", "12", "12.1", "12.2", "12.3", "12.4"));
  EXPECT_THAT(valueLabels({0, 1, 0.01}, 6), ElementsAre("0", "0.2", "0.4", "0.6", "0.8", "1"));
}

TEST(PlotAxis, ItsEndsAreTheOuterTicks) {
  const PlotAxis axis = valueAxis({41.5, 77, 1}, 5, plain);
  EXPECT_EQ(axis.first, 40);
  EXPECT_EQ(axis.last, 80);
  EXPECT_EQ(axis.ticks[2].position, 60);
}

TEST(PlotAxis, NoStepIsSmallerThanItsTextShows) {
  EXPECT_THAT(valueLabels({45.1, 45.2, 1}, 6), ElementsAre("45", "46"));
  EXPECT_THAT(valueLabels({12.301, 12.302, 0.01}, 6), ElementsAre("12.3", "12.31"));
}

TEST(PlotAxis, ASingleValueIsInTheMiddle) {
  EXPECT_THAT(valueLabels({45, 45, 1}, 6), ElementsAre("44", "45", "46"));
  EXPECT_THAT(valueLabels({0, 0, 1}, 6), ElementsAre("0", "1"));
  EXPECT_THAT(valueLabels({0, 0, 0.01}, 6), ElementsAre("0", "0.01"));
}

TEST(PlotAxis, HugeAndSmallRangesHaveFewTicksToo) {
  for (const double highest : {1e-3, 1.0, 999.0, 1e6, 9.99e8, 1e11}) {
    for (const int most : {0, 2, 3, 7, 10}) {
      const PlotAxis axis = valueAxis({0, highest, 0.01}, most, plain);
      EXPECT_LE(static_cast<int>(axis.ticks.size()), std::max(most, 2) + 1);
      EXPECT_GE(axis.last, highest);
    }
  }
}

TEST(PlotAxis, AFractionIsBetween0And1) {
  const PlotAxis axis{10, 20, {}};
  EXPECT_EQ(axis.fraction(10), 0);
  EXPECT_EQ(axis.fraction(12.5), 0.25);
  EXPECT_EQ(axis.fraction(20), 1);
  EXPECT_EQ(axis.fraction(9), 0);
  EXPECT_EQ(axis.fraction(21), 1);
}

// A plot from 0 to 100 seconds and from 0 to 30 degrees.
Plot smallPlot(std::vector<PlotPoint> points) {
  Plot plot;
  plot.times = {0, 100, {{0, "10:00"}, {50, "10:50"}, {100, "11:40"}}};
  plot.values = {0, 30, {{0, "0°C"}, {10, "10°C"}, {20, "20°C"}, {30, "30°C"}}};
  plot.points = std::move(points);
  plot.longestPauseSeconds = 100;
  return plot;
}

std::vector<std::size_t> pieceSizes(const Plot& plot) {
  std::vector<std::size_t> sizes;
  for (const auto& piece : piecesOfCurve(plot)) {
    sizes.push_back(piece.size());
  }
  return sizes;
}

TEST(PiecesOfCurve, ALongerPauseBeginsANewOne) {
  Plot plot = smallPlot({{0, 1}, {10, 1}, {20, 1}, {30.5, 1}, {40, 1}});
  plot.longestPauseSeconds = 10;
  EXPECT_THAT(pieceSizes(plot), ElementsAre(3, 2));
  plot.longestPauseSeconds = 10.5;
  EXPECT_THAT(pieceSizes(plot), ElementsAre(5));
  plot.longestPauseSeconds = 1;
  EXPECT_THAT(pieceSizes(plot), ElementsAre(1, 1, 1, 1, 1));
}

TEST(PiecesOfCurve, AMissingReadingEndsOne) {
  EXPECT_THAT(pieceSizes(smallPlot({{0, kNone}, {1, 5}, {2, 5}, {3, kNone}, {4, kNone}, {5, 5}})),
              ElementsAre(2, 1));
  EXPECT_THAT(pieceSizes(smallPlot({{0, 5}, {1, INFINITY}})), ElementsAre(1));
  EXPECT_THAT(pieceSizes(smallPlot({{0, kNone}})), ElementsAre());
  EXPECT_THAT(pieceSizes(smallPlot({})), ElementsAre());
}

TEST(PiecesOfCurve, HaveThePointsInOrder) {
  const Plot plot = smallPlot({{0, 1}, {1, kNone}, {2, 3}, {3, 4}});
  const auto pieces = piecesOfCurve(plot);
  ASSERT_EQ(pieces.size(), 2U);
  EXPECT_EQ(pieces[0].front().value, 1);
  EXPECT_EQ(pieces[1].front().value, 3);
  EXPECT_EQ(pieces[1].back().value, 4);
}

TEST(PlotCanvas, EachBrailleDotHasItsPlace) {
  std::string signs;
  for (int x = 0; x < 2; ++x) {
    for (int y = 0; y < 4; ++y) {
      PlotCanvas canvas(1, 1, PlotCanvas::braille());
      canvas.line(x, y, x, y);
      signs += canvas.row(0);
    }
  }
  EXPECT_EQ(signs, "⠁⠂⠄⡀⠈⠐⠠⢀");
}

TEST(PlotCanvas, AFullBrailleCellHasAllDots) {
  PlotCanvas canvas(1, 1, PlotCanvas::braille());
  canvas.line(0, 0, 0, 3);
  canvas.line(1, 3, 1, 0);
  EXPECT_EQ(canvas.row(0), "⣿");
}

TEST(PlotCanvas, AsciiShowsWhereInTheCellTheLineIs) {
  PlotCanvas canvas(8, 1, PlotCanvas::ascii());
  canvas.line(0, 0, 0, 0);
  canvas.line(1, 1, 1, 1);
  canvas.line(2, 2, 2, 2);
  canvas.line(3, 0, 3, 2);
  canvas.line(4, 0, 4, 0);
  canvas.line(4, 2, 4, 2);
  canvas.line(5, 1, 5, 2);
  canvas.line(6, 0, 6, 1);
  EXPECT_EQ(canvas.row(0), "'-.|:||");
}

TEST(PlotCanvas, ALineHasNoHole) {
  PlotCanvas steep(2, 10, PlotCanvas::ascii());
  steep.line(1, 0, 0, 29);
  for (std::size_t row = 0; row < 10; ++row) {
    EXPECT_EQ(steep.row(row), row < 5 ? " |" : "|") << row;
  }
  PlotCanvas flat(10, 1, PlotCanvas::ascii());
  flat.line(9, 2, 0, 0);
  EXPECT_EQ(flat.row(0), "'''----...");
}

// Lines of at most so many columns, joined with line ends.
std::string drawn(const Plot& plot, std::size_t columns, std::size_t rows,
                  const PlotCanvas::Signs& signs) {
  std::string text;
  for (const PlotLine& line : plotLines(plot, columns, rows, signs)) {
    EXPECT_LE(displayWidth(line.axis + line.curve), columns);
    text += line.axis + line.curve + "\n";
  }
  return text;
}

TEST(PlotText, DrawsCurveAndAxesInBraille) {
  EXPECT_EQ(drawn(smallPlot({{0, 0}, {50, 30}, {100, 15}}), 26, 7, PlotCanvas::braille()),
            "30°C ┤         ⡰⠑⠢⡀\n"
            "     │       ⢀⠎   ⠈⠑⢄⡀\n"
            "20°C ┤      ⡰⠁       ⠈⠢⢄\n"
            "     │    ⢀⠎            ⠑⠢\n"
            "10°C ┤   ⡰⠁\n"
            "     │ ⢀⠎\n"
            " 0°C ┤⡰⠁\n"
            "     └┬─────────┬────────┬\n"
            "    10:00     10:50  11:40\n");
}

TEST(PlotText, DrawsCurveAndAxesInAscii) {
  EXPECT_EQ(drawn(smallPlot({{0, 0}, {50, 30}, {100, 15}}), 26, 7, PlotCanvas::ascii()),
            "30°C +         |'-.\n"
            "     |       .|    '|\n"
            "20°C +      |'       '-.\n"
            "     |    .|            '-\n"
            "10°C +   |'\n"
            "     | .|\n"
            " 0°C +|'\n"
            "     ++---------+--------+\n"
            "    10:00     10:50  11:40\n");
}

TEST(PlotText, PointsThatShareAColumnShowTheirWholeRange) {
  std::vector<PlotPoint> points;
  for (int i = 0; i <= 1000; ++i) {
    points.push_back({50 + i * 1e-6, i % 2 == 0 ? 0.0 : 30.0});
  }
  const auto lines = plotLines(smallPlot(points), 26, 7, PlotCanvas::ascii());
  for (std::size_t row = 0; row < 7; ++row) {
    EXPECT_EQ(lines[row].curve, std::string(10, ' ') + "|") << row;
  }
}

TEST(PlotText, AGapInTheRecordingIsAGapInTheCurve) {
  Plot plot = smallPlot({{0, 15}, {30, 15}, {70, 15}, {100, 15}});
  plot.longestPauseSeconds = 30;
  EXPECT_EQ(plotLines(plot, 26, 7, PlotCanvas::ascii())[3].curve, "-------      -------");
  plot.longestPauseSeconds = 40;
  EXPECT_EQ(plotLines(plot, 26, 7, PlotCanvas::ascii())[3].curve, std::string(20, '-'));
}

TEST(PlotText, ASinglePointIsADot) {
  EXPECT_EQ(plotLines(smallPlot({{100, 30}}), 26, 7, PlotCanvas::braille())[0].curve,
            std::string(19, ' ') + "⠈");
  EXPECT_EQ(plotLines(smallPlot({{0, 0}}), 26, 7, PlotCanvas::braille())[6].curve, "⡀");
}

TEST(PlotText, WithoutPointsOnlyTheAxesAreDrawn) {
  for (const PlotLine& line : plotLines(smallPlot({}), 40, 8, PlotCanvas::braille())) {
    EXPECT_EQ(line.curve, "");
    EXPECT_NE(line.axis, "");
  }
}

std::string labelLine(std::size_t columns, const std::vector<PlotTick>& ticks) {
  Plot plot = smallPlot({});
  plot.times.ticks = ticks;
  return plotLines(plot, columns, 8, PlotCanvas::ascii()).back().axis;
}

TEST(PlotText, LabelsOfTimesThatHaveNoSpaceAreLeftOutFromTheLastOn) {
  const std::vector<PlotTick> ticks{{0, "10:00"},  {16.7, "10:10"}, {33.3, "10:20"},
                                    {50, "10:30"}, {66.7, "10:40"}, {83.3, "10:50"},
                                    {100, "11:00"}};
  EXPECT_EQ(labelLine(60, ticks), "    10:00    10:10    10:20    10:30   10:40    10:50  11:00");
  EXPECT_EQ(labelLine(40, ticks), "    10:00      10:20      10:40    11:00");
  EXPECT_EQ(labelLine(16, ticks), "    10:00  11:00");
  EXPECT_EQ(labelLine(10, ticks), "    10:00  11:00") << "the least width";
}

TEST(PlotText, EveryWidthIsKept) {
  const Plot plot = smallPlot({{0, 0}, {50, 30}, {100, 15}});
  for (std::size_t columns = 16; columns <= 300; ++columns) {
    drawn(plot, columns, rowsOfPlot(columns), PlotCanvas::braille());
    drawn(plot, columns, rowsOfPlot(columns), PlotCanvas::ascii());
  }
}

TEST(PlotText, ALongLabelIsCut) {
  Plot plot = smallPlot({});
  plot.values.ticks = {{0, "0"}, {30, "100000000000000.00V"}};
  const std::string text = drawn(plot, 40, 8, PlotCanvas::braille());
  EXPECT_THAT(text, HasSubstr("1000000000000… ┤\n"));
  EXPECT_THAT(text, HasSubstr("             0 ┤\n"));
}

TEST(PlotText, AWiderTerminalGetsMoreRows) {
  EXPECT_EQ(rowsOfPlot(20), 8U);
  EXPECT_EQ(rowsOfPlot(40), 8U);
  EXPECT_EQ(rowsOfPlot(80), 13U);
  EXPECT_EQ(rowsOfPlot(200), 20U);
  EXPECT_EQ(mostStepsOfPlot(13), 6);
}

}  // namespace
}  // namespace kelvora::tool
