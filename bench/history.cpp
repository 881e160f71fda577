// What a recording of history costs: ten minutes of samples each two seconds of the recorded
// iMac19,1 with its 164 sensors, over simulated time and through the real store, beside bare SQLite
// statements that write the same rows with the same pragmas.
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

#include <malloc.h>

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

constexpr double kBegin = 1700438400;  // a Monday, at midnight UTC
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

void printDay() {
  KVCoreDataStore store(-1);
  const KVSensorPtr sensor = store.getSensorByKey("TC0P");
  const double before = processorMilliseconds();
  const std::size_t points = sensor->dayGraphPoints().size();
  std::printf("\nA day of one sensor out of a full week: %zu points in %.1f ms (goal: 50 ms)\n",
              points, processorMilliseconds() - before);
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
  // A week with the points that samples each two seconds would have left.
  const double now = kBegin + kWeek;
  recording.fill(kBegin, now - kDay, kTenMinutes);
  recording.fill(now - kDay, now - kHour, kMinute);
  recording.fill(now - kHour, now, kInterval);
  const std::size_t sensors = recording.sample(now);
  std::printf("History of %zu sensors, a sample each two seconds, in the second hour\n", sensors);

  recording.fill(now + kInterval, now + kMinute, kInterval);
  const double allocated = kilobytesAllocated();
  print("a sample (goal: 4 ms, 100 KB)",
        costOf(now + kMinute, [&](double at) { recording.sample(at); }));
  const double grown = kilobytesAllocated() - allocated;
  std::printf("  %-52s %6.2f ms of the processor\n", "of these the reading",
              recording.readingMilliseconds());
  BareRecording bare(folder.path("bare.sqlite"), sensors);
  for (double at = now - kHour; at < now; at += kInterval) {
    bare.sample(at);
  }
  print("the same rows by bare statements", costOf(now, [&](double at) { bare.sample(at); }));
  std::printf(
      "\nMemory allocated after a minute, and grown in ten more: %.0f KB, %.1f KB (goal: 0)\n",
      allocated, grown);
  std::printf("Files after a week: %.1f MB\n", kilobytesOfFiles(path) / kKilobyte);
  printDay();
  return 0;
}

}  // namespace
}  // namespace kelvora::bench

int main() { return kelvora::bench::run(); }
