// A menu-bar program in a terminal: it shows a temperature, takes a sample at the user's interval,
// and shows the text anew when another program changes a setting. It ends with its input.
#include <cmath>
#include <cstdio>
#include <string>

#include <poll.h>
#include <unistd.h>

#include "KelvoraCore/KVMainQueue.h"
#include "KelvoraCore/KVSettings.h"
#include "KelvoraCore/KVThemeManager.h"
#include "KelvoraCore/KVValueConverter.h"
#include "KelvoraCore/KVViewController.h"

namespace {

using kelvora::KVMainQueue;
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

int untilNextSampleMs() {
  return static_cast<int>(std::lround(KVSettings::shared().updateInterval() * 1000));
}

}  // namespace

int main() {
  kelvora::KVThemeManager::sharedInstance().setIsMenuApp(true);
  MenuScreen screen;
  screen.viewDidLoad();
  screen.sample();
  while (true) {
    pollfd waiting[] = {{KVMainQueue::descriptor(), POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}};
    const int ready = poll(waiting, 2, untilNextSampleMs());
    if (waiting[1].revents != 0) {
      return 0;
    }
    if (ready == 0) {
      screen.sample();
    }
    KVMainQueue::runPending();
  }
}
