// What a recording of history costs: ten minutes of samples each two seconds of the recorded
// iMac19,1 with its 164 sensors, over simulated time and through the real store, beside bare SQLite
// statements that write the same rows with the same pragmas.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <malloc.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "KelvoraCore/KVMainQueue.h"
#include "KelvoraCore/KVUtils.h"
#include "KelvoraCore/SensorController.h"

#include "engine/PreparedStatement.h"
#include "engine/StoreFile.h"
#include "platforms/recorded/RecordedPlatform.h"
#include "platforms/recorded/RecordedSMC.h"
#include "platforms/recorded/file/MachineFile.h"
#include "ports/Ports.h"
#include "tests/support/TemporaryFolder.h"
#include "tools/kelvora/HistoryRecorder.h"

namespace kelvora::bench {
namespace {

constexpr double kMinute = 60;
constexpr double kTenMinutes = 600;
constexpr double kHour = 3600;
constexpr double kDay = 86400;
constexpr double kWeek = 604800;
constexpr double kInterval = 2;
constexpr double kKilobyte = 1000;

double processorMilliseconds() {
  timespec time{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

double kilobytesByWriteCalls() {
  std::ifstream file("/proc/self/io");
  std::string name;
  for (double value = 0; file >> name >> value;) {
    if (name == "wchar:") {
      return value / kKilobyte;
    }
  }
  return 0;
}

double kilobytesAllocated() { return static_cast<double>(mallinfo2().uordblks) / kKilobyte; }

double kilobytesOfSQLite() { return static_cast<double>(sqlite3_memory_used()) / kKilobyte; }

double kilobytesOfFiles(const std::string& path) {
  double bytes = 0;
  for (const char* ending : {"", "-wal", "-shm"}) {
    std::error_code error;
    const auto size = std::filesystem::file_size(path + ending, error);
    bytes += error ? 0 : static_cast<double>(size);
  }
  return bytes / kKilobyte;
}

struct Cost {
  double milliseconds = 0;  ///< of the processor, per sample
  double kilobytes = 0;     ///< by write calls, per sample
};

/// The SMC of a recorded Mac, whose values change a little with each sample. Without that only
/// points would be written, and no sensor.
class RestlessSMC : public platform::RecordedSMC {
 public:
  explicit RestlessSMC(std::vector<platform::RecordedSMCKey> keys) : RecordedSMC(std::move(keys)) {}
  void nextSample() { ++samples_; }

 protected:
  platform::KernelStatus perform(const SMCParamRecord& request, SMCParamRecord& reply) override {
    const auto status = RecordedSMC::perform(request, reply);
    // The lower byte of a value of two bytes, and a lower one of a number. What reads 0 is absent.
    if (request.command == SMCCommandReadBytes && request.keyInfo.dataSize > 1 &&
        (reply.bytes[0] | reply.bytes[1] | reply.bytes[2] | reply.bytes[3]) != 0) {
      reply.bytes[1] = static_cast<std::uint8_t>(reply.bytes[1] ^ (samples_ & 31));
    }
    return status;
  }

 private:
  unsigned samples_ = 0;
};

/// Takes a measure over ten minutes of samples.
template <typename Sample>
Cost costOf(double begin, Sample sample) {
  const double kilobytes = kilobytesByWriteCalls();
  const double milliseconds = processorMilliseconds();
  int count = 0;
  for (double at = begin; at < begin + kTenMinutes; at += kInterval) {
    sample(at);
    ++count;
  }
  return {(processorMilliseconds() - milliseconds) / count,
          (kilobytesByWriteCalls() - kilobytes) / count};
}

void print(const char* title, const Cost& cost) {
  std::printf("  %-52s %6.2f ms of the processor, %6.1f KB by write calls\n", title,
              cost.milliseconds, cost.kilobytes);
}

/// The rows of a recording, written by bare statements: a point and a value for each sensor, and
/// once a minute the deletion of what expired.
class BareRecording {
 public:
  BareRecording(const std::string& path, std::size_t sensors)
      : file_(path, 5000), sensors_(static_cast<std::int64_t>(sensors)) {
    file_.execute(
        "CREATE TABLE points (id INTEGER PRIMARY KEY, x REAL, y REAL, range INTEGER, sensor "
        "INTEGER, place INTEGER);"
        "CREATE INDEX points_sensor ON points (sensor, place);"
        "CREATE INDEX points_time ON points (range, x);"
        "CREATE TABLE sensors (id INTEGER PRIMARY KEY, key TEXT, name TEXT, fullName TEXT, value "
        "REAL)");
    for (std::int64_t i = 1; i <= sensors_; ++i) {
      file_.execute("INSERT INTO sensors VALUES (" + std::to_string(i) +
                    ", 'TC0P', 'CPU Proximity', 'CPU Proximity', 0)");
    }
  }

  void sample(double at) {
    engine::WriteTransaction transaction(file_);
    for (std::int64_t sensor = 1; sensor <= sensors_; ++sensor) {
      const engine::StatementRun insert(
          file_.statement("INSERT INTO points VALUES (?, ?, ?, 0, ?, ?)"));
      insert->bind(1, ++rows_);
      insert->bind(2, ManagedValue(at));
      insert->bind(3, ManagedValue(40.5));
      insert->bind(4, sensor);
      insert->bind(5, rows_);
      insert->step();
      const engine::StatementRun update(
          file_.statement("UPDATE sensors SET value = ? WHERE id = ?"));
      update->bind(1, ManagedValue(at));
      update->bind(2, sensor);
      update->step();
    }
    if (std::fmod(at, kMinute) == 0) {
      const engine::StatementRun remove(
          file_.statement("DELETE FROM points WHERE range = 0 AND x <= ?"));
      remove->bind(1, ManagedValue(at - kHour));
      remove->step();
    }
    transaction.commit();
  }

 private:
  engine::StoreFile file_;
  std::int64_t sensors_;
  std::int64_t rows_ = 0;
};

/// Records the Mac into a store of its own.
class Recording {
 public:
  explicit Recording(RestlessSMC& smc) : smc_(smc) {}

  std::size_t sample(double at) {
    smc_.nextSample();
    const auto seconds = std::chrono::duration<double>(at);
    const auto outcome = recorder_.sample(std::chrono::system_clock::time_point(
        std::chrono::duration_cast<std::chrono::system_clock::duration>(seconds)));
    if (!outcome.fault.empty()) {
      std::fprintf(stderr, "history_bench: %s\n", outcome.fault.c_str());
      std::exit(1);
    }
    KVMainQueue::runPending();
    return outcome.sensors.size();
  }
  void fill(double from, double until, double step) {
    for (double at = from; at < until; at += step) {
      sample(at);
    }
  }
  double readingMilliseconds() {
    constexpr int kReadings = 100;
    const double before = processorMilliseconds();
    for (int i = 0; i < kReadings; ++i) {
      controller_.getAllSensors();
    }
    KVMainQueue::runPending();
    return (processorMilliseconds() - before) / kReadings;
  }

 private:
  RestlessSMC& smc_;
  SensorController controller_;
  tool::HistoryRecorder recorder_{Platform::current(), controller_};
};

/// The processor time and the duration of a run of a program, in milliseconds.
struct Run {
  double processor = 0;
  double duration = 0;
};

Run runOf(const std::vector<std::string>& words) {
  const auto begin = std::chrono::steady_clock::now();
  const pid_t program = fork();
  if (program == 0) {
    std::vector<char*> arguments;
    for (const std::string& word : words) {
      arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO);
    execv(arguments.front(), arguments.data());
    _exit(127);
  }
  int status = 0;
  rusage usage{};
  if (program < 0 || wait4(program, &status, 0, &usage) != program || status != 0) {
    std::fprintf(stderr, "history_bench: %s failed\n", words.front().c_str());
    std::exit(1);
  }
  const auto milliseconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
  };
  const std::chrono::duration<double, std::milli> duration =
      std::chrono::steady_clock::now() - begin;
  return {milliseconds(usage.ru_utime) + milliseconds(usage.ru_stime), duration.count()};
}

// The program from its start to the plot, for a day of one sensor out of a full week.
void printDay() {
  constexpr std::size_t kRuns = 11;
  std::vector<Run> runs;
  for (std::size_t i = 0; i < kRuns; ++i) {
    runs.push_back(runOf({KELVORA_PROGRAM, "history", "TC0P", "--range", "day"}));
  }
  std::ranges::sort(runs, {}, &Run::processor);
  const double processor = runs[kRuns / 2].processor;
  std::ranges::sort(runs, {}, &Run::duration);
  std::printf(
      "\nkelvora history TC0P --range day: %.1f ms to the plot, %.1f ms of the processor "
      "(goal: 50 ms)\n",
      runs[kRuns / 2].duration, processor);
}

int run() {
  const testing::TemporaryFolder folder;
  ::setenv("XDG_DATA_HOME", folder.path().c_str(), 1);
  ::setenv("XDG_CONFIG_HOME", folder.path().c_str(), 1);
  platform::RecordedMachine machine = platform::readMachineFile(KELVORA_MACHINES "/iMac19,1.json");
  auto keys = machine.smcKeys.value();
  auto mac = platform::makeRecordedPlatform(std::move(machine));
  auto owned = std::make_unique<RestlessSMC>(std::move(keys));
  RestlessSMC& smc = *owned;
  mac->ports().smc = std::move(owned);
  Platform::install(std::move(mac));
  const std::string path = *KVUtils::groupContainerPath() + "/Database.sqlite";
  Recording recording(smc);
  // A week with the points that samples each two seconds would have left. It ends early enough that
  // the samples to come are not later than the present, up to which a plot goes.
  const double now =
      std::floor((static_cast<double>(std::time(nullptr)) - 3 * kTenMinutes) / kMinute) * kMinute;
  recording.fill(now - kWeek, now - kDay, kTenMinutes);
  recording.fill(now - kDay, now - kHour, kMinute);
  recording.fill(now - kHour, now, kInterval);
  const std::size_t sensors = recording.sample(now);
  std::printf("History of %zu sensors, a sample each two seconds, in the second hour\n", sensors);

  // The first deletion of what has expired, which is each five minutes, is before the measure.
  const double begin = now + kTenMinutes + kInterval;
  recording.fill(now + kInterval, begin, kInterval);
  const double allocated = kilobytesAllocated();
  const double allocatedBySQLite = kilobytesOfSQLite();
  print("a sample (goal: 4 ms, 100 KB)", costOf(begin, [&](double at) { recording.sample(at); }));
  const double grown = kilobytesAllocated() - allocated;
  const double grownInSQLite = kilobytesOfSQLite() - allocatedBySQLite;
  std::printf("  %-52s %6.2f ms of the processor\n", "of these the reading",
              recording.readingMilliseconds());
  BareRecording bare(folder.path("bare.sqlite"), sensors);
  for (double at = now - kHour; at < now; at += kInterval) {
    bare.sample(at);
  }
  print("the same rows by bare statements", costOf(now, [&](double at) { bare.sample(at); }));
  std::printf("\nMemory after ten minutes, and grown in ten more: %.0f KB, %.1f KB (goal: 0)\n",
              allocated, grown);
  std::printf("  of these in SQLite: %.0f KB, %.1f KB\n", allocatedBySQLite, grownInSQLite);
  std::printf("Files after a week: %.1f MB\n", kilobytesOfFiles(path) / kKilobyte);
  printDay();
  return 0;
}

}  // namespace
}  // namespace kelvora::bench

int main() { return kelvora::bench::run(); }
