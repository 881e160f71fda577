#include "tools/kelvora/WatchSampler.h"

#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <utility>

#include "KelvoraCore/KVMainQueue.h"
#include "KelvoraCore/KVSerialQueue.h"
#include "KelvoraCore/SensorController.h"

namespace kelvora::tool {

namespace {

/// Posts each failure once, and not again each second.
class ReportOnceController : public SensorController {
 public:
  using SensorController::SensorController;
  void smcReadValueFailedWithError(const std::string& message) override {
    if (posted_.insert(message).second) {
      SensorController::smcReadValueFailedWithError(message);
    }
  }

 private:
  std::set<std::string> posted_;
};

class ProcessList : public CPUReaderDelegate {
 public:
  void cpuReaderDidReadTopProcesses(CPUReader&,
                                    const std::vector<CPUTopProcess>& processes) override {
    list = processes;
  }
  std::optional<std::vector<CPUTopProcess>> list;
};

/// Work of one kind on a thread of its own, one at a time, and its last result.
template <typename Result>
class Work {
 public:
  explicit Work(const char* label) : queue_(std::make_unique<KVSerialQueue>(label)) {}

  void begin(std::function<Result()> work) {
    {
      const std::lock_guard lock(mutex_);
      if (std::exchange(isBusy_, true)) {
        return;
      }
    }
    queue_->async([this, work = std::move(work)] {
      Result result = work();
      {
        const std::lock_guard lock(mutex_);
        result_ = std::move(result);
        isBusy_ = false;
      }
      ended_.notify_all();
      KVMainQueue::async([] {});
    });
  }
  std::optional<Result> take() {
    const std::lock_guard lock(mutex_);
    return std::exchange(result_, std::nullopt);
  }
  bool end(std::chrono::steady_clock::time_point deadline) {
    std::unique_lock lock(mutex_);
    return ended_.wait_until(lock, deadline, [this] { return !isBusy_; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable ended_;
  bool isBusy_ = false;
  std::optional<Result> result_;
  std::unique_ptr<KVSerialQueue> queue_;  // the last member: its end waits for its work
};

// The reader whose `ps` must not outlive the process: the library may end it, from any thread.
std::atomic<CPUReader*> stoppedAtExit{nullptr};

void stopAtAnyEnd(CPUReader* reader) {
  static const bool isRegistered = std::atexit([] {
                                     if (CPUReader* const last = stoppedAtExit) {
                                       last->stop();
                                     }
                                   }) == 0;
  static_cast<void>(isRegistered);
  stoppedAtExit = reader;
}

}  // namespace

struct WatchSampler::Shared {
  explicit Shared(Platform& machine) : platform(machine), reader(machine) {}

  WatchReading read() {
    // Made by the first reading, because it may ask the system's slow tools.
    if (controller == nullptr) {
      controller = std::make_unique<ReportOnceController>(platform);
      usage = std::make_unique<UsageSampler>(platform);
    }
    WatchReading reading;
    reading.time = std::chrono::system_clock::now();
    reading.sensors = controller->getAllSensors();
    reading.usage = usage->sample();
    return reading;
  }
  std::optional<std::vector<CPUTopProcess>> readProcesses(std::int64_t count) {
    const auto processes = std::make_shared<ProcessList>();
    reader.setNumberOfProcesses(count);
    reader.setDelegate(processes);
    reader.setup();
    reader.read();
    return processes->list;
  }

  Platform& platform;
  std::unique_ptr<ReportOnceController> controller;
  std::unique_ptr<UsageSampler> usage;
  CPUReader reader;
  Work<WatchReading> readings{"kelvora.read"};
  Work<std::optional<std::vector<CPUTopProcess>>> lists{"kelvora.ps"};
};

WatchSampler::WatchSampler(Platform& platform) : shared_(std::make_unique<Shared>(platform)) {
  stopAtAnyEnd(&shared_->reader);
}

WatchSampler::~WatchSampler() { stopAtAnyEnd(nullptr); }

void WatchSampler::read() {
  shared_->readings.begin([shared = shared_.get()] { return shared->read(); });
}

void WatchSampler::readProcesses(std::int64_t count) {
  shared_->lists.begin([shared = shared_.get(), count] { return shared->readProcesses(count); });
}

std::optional<WatchReading> WatchSampler::takeReading() { return shared_->readings.take(); }

std::optional<std::optional<std::vector<CPUTopProcess>>> WatchSampler::takeProcesses() {
  return shared_->lists.take();
}

bool WatchSampler::end(std::chrono::milliseconds patience) {
  shared_->reader.stop();
  const auto deadline = std::chrono::steady_clock::now() + patience;
  const bool areRead = shared_->readings.end(deadline);
  return shared_->lists.end(deadline) && areRead;
}

void WatchSampler::endOrExit(int status) {
  constexpr std::chrono::seconds kPatience(2);
  if (!end(kPatience)) {
    std::_Exit(status);  // a thread still uses what would be destroyed
  }
}

}  // namespace kelvora::tool
