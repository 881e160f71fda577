// The picture of a plot, without its style.

#include "tools/kelvora/PlotSVG.h"

#include <limits>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace kelvora::tool {
namespace {

using ::testing::HasSubstr;

Plot pictured(std::vector<PlotPoint> points) {
  return {.title = "T <1>",
          .range = "Last hour",
          .summary = {"Minimum 0°C", "Last 15°C"},
          .remark = "No readings",
          .times = {0, 100, {{0, "10:00"}, {50, "10:50"}}},
          .values = {0, 30, {{0, "0°C"}, {20, "20°C"}}},
          .points = std::move(points),
          .longestPauseSeconds = 100};
}

std::string beforeStyle(const std::string& picture) {
  return picture.substr(0, picture.find("  <style>"));
}

std::string afterStyle(const std::string& picture) {
  return picture.substr(picture.find("</style>"));
}

TEST(PlotSVG, HasAPlaceForEachPart) {
  constexpr double kNoReading = std::numeric_limits<double>::quiet_NaN();
  const std::string picture = svgOfPlot(pictured({{0, 0}, {50, 30}, {60, kNoReading}, {80, 15}}));
  EXPECT_EQ(beforeStyle(picture),
            R"(<?xml version="1.0" encoding="UTF-8"?>
<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 860 420" width="860" height="420" role="img" aria-labelledby="title summary">
  <title id="title">T &lt;1&gt;, Last hour</title>
  <desc id="summary">Minimum 0°C · Last 15°C</desc>
)");
  EXPECT_EQ(afterStyle(picture),
            R"(</style>
  <defs>
    <linearGradient id="shade" x1="0" y1="96" x2="0" y2="360" gradientUnits="userSpaceOnUse">
      <stop class="shade" offset="0" stop-opacity="0.35"/>
      <stop class="shade" offset="1" stop-opacity="0.03"/>
    </linearGradient>
  </defs>
  <rect class="back" width="100%" height="100%"/>
  <text class="title" x="84" y="40">T &lt;1&gt;</text>
  <text class="start" x="84" y="66">Minimum 0°C · Last 15°C</text>
  <text class="end" x="824" y="66">Last hour</text>
  <path class="grid" d="M84 360L824 360"/>
  <text class="end" x="72" y="364.5">0°C</text>
  <path class="grid" d="M84 184L824 184"/>
  <text class="end" x="72" y="188.5">20°C</text>
  <path class="axis" d="M84 360L824 360"/>
  <path class="axis" d="M84 360L84 366"/>
  <text class="middle" x="84" y="385">10:00</text>
  <path class="axis" d="M454 360L454 366"/>
  <text class="middle" x="454" y="385">10:50</text>
  <path class="area" d="M84 360L454 96L454 360L84 360Z"/>
  <path class="curve" d="M84 360L454 96"/>
  <path class="curve dot" d="M676 228L676 228"/>
  <circle class="last" cx="676" cy="228" r="5"/>
</svg>
)");
}

TEST(PlotSVG, WithoutACurveHasTheRemarkInTheMiddle) {
  EXPECT_THAT(
      svgOfPlot(pictured({})),
      HasSubstr("10:50</text>\n"
                "  <text class=\"middle\" x=\"454\" y=\"228\">No readings</text>\n</svg>\n"));
}

TEST(PlotSVG, ATitleThatIsTooLongIsCut) {
  Plot plot = pictured({});
  plot.title = std::string(72, 'x');
  EXPECT_THAT(svgOfPlot(plot), HasSubstr("y=\"40\">" + plot.title + "</text>"));
  plot.title += "yz";
  const std::string picture = svgOfPlot(plot);
  EXPECT_THAT(picture, HasSubstr("y=\"40\">" + std::string(71, 'x') + "…</text>"));
  EXPECT_THAT(picture, HasSubstr("<title id=\"title\">" + plot.title + ", "));
}

}  // namespace
}  // namespace kelvora::tool
