#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <unicode/unistr.h>

#include "KelvoraCore/KVLocalized.h"
#include "KelvoraCore/KVSetting.h"
#include "KelvoraCore/KVSettingsSnapshot.h"
#include "KelvoraCore/KVViewController.h"
#include "KelvoraCore/NotificationObserver.h"

#include "tools/kelvora/Command.h"
#include "tools/kelvora/MachineChoice.h"
#include "tools/kelvora/Terminal.h"
#include "tools/kelvora/WatchModel.h"
#include "tools/kelvora/WatchSampler.h"
#include "tools/kelvora/WatchScreen.h"

namespace kelvora::tool {

namespace {

using Clock = std::chrono::steady_clock;

constexpr double kShortestUpdate = 0.1;
constexpr double kLongestUpdate = 3600;

// A list of processes starts another program, which costs more than all else on the screen, and its
// shares are averages over a minute or more, which change slowly.
constexpr std::chrono::seconds kProcessesInterval(10);

Clock::duration updateInterval(const Options& options) {
  const double seconds = options.seconds("--every").value_or(1);
  if (!(seconds >= kShortestUpdate && seconds <= kLongestUpdate)) {
    throw CommandError(kExitUsage, "--every takes 0.1 to 3600 seconds, e.g. 0.5, 5 or 1m");
  }
  return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
}

// Unlike a report, it never shows a recording instead: usage and processes can be shown without
// sensors.
Platform& chooseWatchedMachine(const Options& options) {
  if (options.machine.empty()) {
    useMachineOfEnvironment();
    Platform& platform = Platform::current();
    handBackLeftBehind({.platform = platform, .isNamed = !platform.isLive()});
    return platform;
  }
  return chooseMachine(options.machine).platform;
}

std::string withoutLastCharacter(const std::string& text) {
  icu::UnicodeString characters = icu::UnicodeString::fromUTF8(text);
  characters.truncate(characters.moveIndex32(characters.length(), -1));
  std::string shorter;
  return characters.toUTF8String(shorter);
}

/// The screen of one machine, until the user ends it.
class Watch : public KVViewController {
 public:
  Watch(Platform& platform, Terminal& terminal, WatchSampler& sampler, Clock::duration interval)
      : KVViewController(platform),
        terminal_(terminal),
        sampler_(sampler),
        interval_(interval),
        model_(platform),
        valueSettings_(
            KVDataManagerUpdateFrequencyDidChangeNotification,
            [this](const Notification&) { isStale_ = true; }, platform) {}

  void localizeUI() override { isStale_ = true; }
  void updateUI() override { isStale_ = true; }

  void run() {
    viewDidLoad();
    using Event = Terminal::Event;
    while (!isEnded_) {
      sampleWhatIsDue();
      if (isStale_) {
        draw();
      }
      const Event event = terminal_.waitUntil(std::min(nextReading_, nextProcesses_));
      isEnded_ = event == Event::kStop;
      isStale_ = isStale_ || event == Event::kRedraw;
      if (event == Event::kKeys) {
        pressKeys();
      }
      takeSamples();
    }
  }

 private:
  void sampleWhatIsDue() {
    const Clock::time_point now = Clock::now();
    if (now >= nextReading_) {
      nextReading_ = now + interval_;
      sampler_.read();
    }
    if (now >= nextProcesses_) {
      nextProcesses_ = now + std::max<Clock::duration>(kProcessesInterval, interval_);
      sampler_.readProcesses(terminal_.size().rows);
    }
  }

  void takeSamples() {
    if (auto reading = sampler_.takeReading()) {
      model_.setReading(std::move(*reading));
      isStale_ = true;
    }
    if (auto processes = sampler_.takeProcesses()) {
      model_.setProcesses(std::move(*processes));
      isStale_ = true;
    }
  }

  void draw() {
    isStale_ = false;
    KVSettingsSnapshot settings;
    const KVLocalized::Texts texts(settings, platform());
    const TerminalSession::Size size = terminal_.size();
    const WatchLayout layout = layOut(
        model_.content(settings, texts),
        {static_cast<std::size_t>(size.columns), static_cast<std::size_t>(size.rows)}, scroll_);
    scroll_ = layout.scroll;
    mostScroll_ = layout.mostScroll;
    page_ = layout.page;
    terminal_.draw(layout.screen);
  }

  void pressKeys() {
    while (const auto key = terminal_.nextKey()) {
      isStale_ = true;
      scroll_ = scrolled(scroll_, key->kind, mostScroll_, page_);
      isTyping_ ? pressWhileTyping(*key) : press(*key);
    }
    model_.setFilter(filter_);
    model_.setTyping(isTyping_);
    model_.setShowsAll(showsAll_);
  }

  void press(const Key& key) {
    if (key.kind == Key::Kind::kEscape) {
      filter_.clear();
    } else if (key.text == "q") {
      isEnded_ = true;
    } else if (key.text == "a") {
      showsAll_ = !showsAll_;
    } else if (key.text == "/") {
      isTyping_ = true;
    }
  }

  void pressWhileTyping(const Key& key) {
    switch (key.kind) {
      case Key::Kind::kCharacter:
        filter_ += key.text;
        scroll_ = 0;
        break;
      case Key::Kind::kBackspace:
        isTyping_ = !filter_.empty();
        filter_ = withoutLastCharacter(filter_);
        break;
      case Key::Kind::kEscape:
        filter_.clear();
        isTyping_ = false;
        break;
      case Key::Kind::kEnter:
        isTyping_ = false;
        break;
      default:
        break;
    }
  }

  Terminal& terminal_;
  WatchSampler& sampler_;
  Clock::duration interval_;
  WatchModel model_;
  NotificationObserver valueSettings_;  // the unit of fan speeds has no notice of its own
  Clock::time_point nextReading_;
  Clock::time_point nextProcesses_;
  std::string filter_;
  bool isTyping_ = false;
  bool showsAll_ = false;
  bool isStale_ = true;
  bool isEnded_ = false;
  std::size_t scroll_ = 0;
  std::size_t mostScroll_ = 0;  // as of the last drawing
  std::size_t page_ = 0;
};

constexpr char kForPipes[] = "'kelvora sensors' and 'kelvora usage' write to pipes and files";

int runWatch(const Options& options, StandardOutput& output) {
  const Clock::duration interval = updateInterval(options);
  Platform& platform = chooseWatchedMachine(options);
  output.discardMessages(!platform.isLive());
  WatchSampler sampler(platform);
  {
    Terminal terminal(output, kForPipes);
    Watch(platform, terminal, sampler, interval).run();
  }
  sampler.endOrExit(kExitSuccess);
  return kExitSuccess;
}

}  // namespace

std::vector<Command> watchCommands() {
  return {{.name = "watch",
           .description = "Show sensors, fans, usage and the busiest processes until q is pressed",
           .example = "kelvora watch\n"
                      "  kelvora watch --machine iMac19,1 --every 2",
           .machine = MachineUse::kOption,
           .hasJson = false,
           .arguments = {{.name = "--every",
                          .kind = Argument::Kind::kDuration,
                          .description = "Time between readings, 0.1 s to 1 h; 1 s without it"}},
           .run = runWatch}};
}

}  // namespace kelvora::tool
