// A menu-bar program in a terminal: it shows a temperature, takes a sample at the user's interval,
// and shows the text again when another program changes a setting. Ctrl-C ends it.
#include <chrono>
#include <cstdio>
#include <string>

#include "KelvoraCore/KVFanLeases.h"
#include "KelvoraCore/KVSettings.h"
#include "KelvoraCore/KVThemeManager.h"
#include "KelvoraCore/KVValueConverter.h"
#include "KelvoraCore/KVViewController.h"
#include "KelvoraCore/StopSignal.h"

namespace {

using Clock = std::chrono::steady_clock;
using kelvora::KVSettings;
using kelvora::KVValueConverter;

constexpr std::uint32_t kTemperature = 0;

class MenuScreen : public kelvora::KVViewController {
 public:
  void sample() {
    celsius_ = 45.5;  // a host asks its sensor controller here
    show("sample");
  }
  void updateUI() override { show("settings"); }

 private:
  void show(const char* why) const {
    const double value = KVValueConverter::convertedTemp(celsius_);
    const std::string text =
        KVValueConverter::fullStringFromValue(value, kTemperature, /*shortForm=*/false);
    std::printf("%s: %s\n", why, text.c_str());
    std::fflush(stdout);
  }

  double celsius_ = -1;
};

Clock::time_point nextSample() {
  const std::chrono::duration<double> interval(KVSettings::shared().updateInterval());
  return Clock::now() + std::chrono::duration_cast<Clock::duration>(interval);
}

}  // namespace

int main() {
  kelvora::StopSignal stop;
  kelvora::KVFanLeases::handBackLeftBehind();  // fans of a program that was killed
  kelvora::KVThemeManager::sharedInstance().setIsMenuApp(true);
  MenuScreen screen;
  screen.viewDidLoad();
  do {
    screen.sample();
  } while (stop.runUntil(nextSample()));  // notifications arrive here
  return 0;
}
