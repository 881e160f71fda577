// The store beside bare SQLite statements that do the same on the same file system with the same
// pragmas, in the same run.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <SQLiteCpp/Database.h>
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <unistd.h>

#include "KelvoraCore/KVApplicationGroup.h"
#include "KelvoraCore/KVCoreDataStore.h"

#include "RatioReporter.h"
#include "engine/ContextState.h"
#include "engine/PreparedStatement.h"
#include "engine/StoreFile.h"
#include "ports/Ports.h"
#include "tests/support/TemporaryFolder.h"

namespace kelvora::bench {
namespace {

constexpr int kSensors = 556;
constexpr int kPointsPerSensor = 1800;
constexpr int kPointsPerSave = 300;

std::string keyOf(int number) { return "K" + std::to_string(number); }

/// A store with a million points, saved as a host does: one of each sensor at a time.
class Fixture {
 public:
  static Fixture& shared() {
    static Fixture fixture;
    return fixture;
  }
  ~Fixture() {
    store.reset();
    raw.reset();
  }

  KVSensorPtr sensor(int number) { return store->getSensorByKey(keyOf(number)); }

  const testing::TemporaryFolder folder;
  const std::string home = folder.path();
  std::unique_ptr<KVCoreDataStore> store;
  std::unique_ptr<engine::StoreFile> raw;
  std::vector<KVSensorPtr> sensors;
  std::int64_t rawRows = 0;

 private:
  Fixture() {
    ::setenv("XDG_DATA_HOME", home.c_str(), 1);
    store = std::make_unique<KVCoreDataStore>(-1);
    const auto view = store->viewContext();
    for (int i = 0; i < kSensors; ++i) {
      sensors.push_back(store->createSensorWithKey(keyOf(i), view));
      sensors.back()->setName("name " + std::to_string(i));
      sensors.back()->setFullName("full name " + std::to_string(i));
    }
    store->saveViewContext();
    for (int i = 0; i < kPointsPerSensor; ++i) {
      addPoints(i, kSensors);
    }
    fillRaw();
  }

  void fillRaw() {
    raw = std::make_unique<engine::StoreFile>(home + "/raw.sqlite", 5000);
    raw->execute(
        "CREATE TABLE points (id INTEGER PRIMARY KEY, x REAL, y REAL, range INTEGER, sensor "
        "INTEGER,"
        " place INTEGER); CREATE INDEX points_sensor ON points (sensor, place);"
        "CREATE TABLE heap (id INTEGER PRIMARY KEY, x REAL, y REAL, range INTEGER, sensor INTEGER,"
        " place INTEGER);"
        "CREATE TABLE sensors (id INTEGER PRIMARY KEY, key TEXT, name TEXT, fullName TEXT, value "
        "REAL,"
        " a REAL, b REAL, c REAL, d REAL, e INTEGER, f INTEGER, g INTEGER, h INTEGER, i INTEGER);"
        "CREATE INDEX sensors_key ON sensors (key)");
    for (int i = 0; i < kSensors; ++i) {
      raw->execute("INSERT INTO sensors VALUES (" + std::to_string(i + 1) + ", '" + keyOf(i) +
                   "', 'name', 'full name', 1.5, 0.5, 0.5, -1.0, -1.0, 1, 0, 511, 0, 0)");
    }
    for (int i = 0; i < kPointsPerSensor; ++i) {
      insertRaw("points", kSensors);
    }
  }

 public:
  void addPoints(int time, int count) {
    for (int i = 0; i < count; ++i) {
      const auto point = store->createGraphPoint();
      point->setPointX(1.7e9 + time);
      point->setPointY(40 + i % 50);
      point->setSensor(sensors[static_cast<std::size_t>(i)]);
    }
    store->saveViewContext();
  }

  void insertRaw(const std::string& table, int count) {
    engine::WriteTransaction transaction(*raw);
    for (int i = 0; i < count; ++i) {
      const engine::StatementRun run(
          raw->statement("INSERT INTO " + table + " VALUES (?, ?, ?, ?, ?, ?)"));
      run->bind(1, ++rawRows);
      run->bind(2, ManagedValue(1.7e9 + static_cast<double>(rawRows)));
      run->bind(3, ManagedValue(40.0 + i % 50));
      run->bind(4, std::int64_t{0});
      run->bind(5, i + 1);
      run->bind(6, rawRows);
      run->step();
    }
    transaction.commit();
  }
};

void saveInStore(benchmark::State& state) {
  Fixture& fixture = Fixture::shared();
  for (auto iteration : state) {
    fixture.addPoints(kPointsPerSensor, kPointsPerSave);
  }
}

void insertWithIndex(benchmark::State& state) {
  for (auto iteration : state) {
    Fixture::shared().insertRaw("points", kPointsPerSave);
  }
}

void insertIntoHeap(benchmark::State& state) {
  for (auto iteration : state) {
    Fixture::shared().insertRaw("heap", kPointsPerSave);
  }
}

void fetchByKey(benchmark::State& state, double staleness) {
  Fixture& fixture = Fixture::shared();
  fixture.store->viewContext()->setStalenessInterval(staleness);
  std::vector<std::string> keys;
  for (int i = 0; i < kSensors; ++i) {
    keys.push_back(keyOf(i));
  }
  std::size_t i = 0;
  for (auto iteration : state) {
    benchmark::DoNotOptimize(fixture.store->getSensorByKey(keys[i++ % keys.size()]));
  }
  fixture.store->viewContext()->setStalenessInterval(-1);
}

struct RawSensor {
  std::int64_t id;
  std::string key, name, fullName;
  double doubles[5];
  std::int64_t wholes[5];
};

void lookUp(benchmark::State& state) {
  Fixture& fixture = Fixture::shared();
  std::vector<ManagedValue> keys;
  for (int i = 0; i < kSensors; ++i) {
    keys.emplace_back(keyOf(i));
  }
  const auto statement = fixture.raw->statement("SELECT * FROM sensors WHERE key = ? LIMIT 1");
  engine::Column real;
  real.type = engine::AttributeType::kDouble;
  std::size_t i = 0;
  for (auto iteration : state) {
    const engine::StatementRun run(statement);
    run->bind(1, keys[i++ % keys.size()]);
    if (!run->step()) {
      std::abort();
    }
    RawSensor sensor{run->integer(0), run->text(1), run->text(2), run->text(3), {}, {}};
    for (int c = 0; c < 5; ++c) {
      sensor.doubles[c] = std::get<double>(run->value(c + 4, real));
      sensor.wholes[c] = run->integer(c + 9);
    }
    benchmark::DoNotOptimize(sensor);
  }
}

void walkHistory(benchmark::State& state) {
  Fixture& fixture = Fixture::shared();
  int i = 0;
  for (auto iteration : state) {
    fixture.store->viewContext()->refreshAllObjects();
    double sum = 0;
    const int number = 301 + i++ % 200;  // not those that the saves add to
    for (const auto& point : fixture.sensors[static_cast<std::size_t>(number)]->graphPoints()) {
      sum += point->pointX() + point->pointY();
    }
    benchmark::DoNotOptimize(sum);
  }
}

void selectHistory(benchmark::State& state) {
  Fixture& fixture = Fixture::shared();
  const auto statement = fixture.raw->statement(
      "SELECT id, x, y, range, sensor, place FROM points WHERE sensor = ? ORDER BY place");
  engine::Column real;
  real.type = engine::AttributeType::kDouble;
  int i = 0;
  for (auto iteration : state) {
    const engine::StatementRun run(statement);
    run->bind(1, std::int64_t{302 + i++ % 200});
    double sum = 0;
    while (run->step()) {
      sum += std::get<double>(run->value(1, real)) + std::get<double>(run->value(2, real)) +
             static_cast<double>(run->integer(0) + run->integer(3) + run->integer(5));
    }
    benchmark::DoNotOptimize(sum);
  }
}

void changeNothing(Fixture&, int) {}

void changeValueOfSensor(Fixture& fixture, int number) {
  const KVSensorPtr sensor = fixture.sensor(number);
  sensor->setValue(sensor->value() + 1);
}

void changeOnePoint(Fixture& fixture, int number) {
  const auto point = fixture.sensor(number)->graphPoints().front();
  point->setPointY(point->pointY() + 1);
}

// The 1,800 points of one sensor, out of a million, found by the sensor's key, while something is
// not saved.
void fetchPoints(benchmark::State& state, void (*change)(Fixture&, int)) {
  constexpr int kNumber = 501;  // not one of those that the saves add to
  Fixture& fixture = Fixture::shared();
  const Predicate ofSensor("sensor.key = %@", {keyOf(kNumber)});
  change(fixture, kNumber);
  for (auto iteration : state) {
    const auto points = fixture.store->viewContext()->objectsOf("GraphPoint", ofSensor);
    if (!points || points->size() != kPointsPerSensor) {
      state.SkipWithError("points are missing");
      break;
    }
  }
  fixture.store->saveViewContext();
}

struct Written {
  double toFiles = 0;  ///< by write calls
  double toDisk = 0;   ///< pages that the system has to write
};

Written writtenSoFar() {
  std::ifstream file("/proc/self/io");
  Written written;
  std::string name;
  for (double value = 0; file >> name >> value;) {
    if (name == "wchar:") {
      written.toFiles = value;
    }
    if (name == "write_bytes:") {
      written.toDisk = value;
    }
  }
  return written;
}

template <typename Save>
void printWritten(const char* title, const Save& save) {
  constexpr int kSaves = 320;  // four batches of the index
  const Written before = writtenSoFar();
  for (int i = 0; i < kSaves; ++i) {
    save();
  }
  const Written after = writtenSoFar();
  std::printf("  %-52s %8.1f KB by write calls, %8.1f KB for the disk\n", title,
              (after.toFiles - before.toFiles) / kSaves / 1000,
              (after.toDisk - before.toDisk) / kSaves / 1000);
}

void printBytes() {
  Fixture& fixture = Fixture::shared();
  std::printf("\nBytes written per save of 300 points, mean of 320 saves (goal: at most 100 KB)\n");
  printWritten("the store", [&] { fixture.addPoints(kPointsPerSensor, kPointsPerSave); });
  printWritten("bare, table with index (sensor, place)",
               [&] { fixture.insertRaw("points", kPointsPerSave); });
  printWritten("bare, table without index", [&] { fixture.insertRaw("heap", kPointsPerSave); });
}

void printMemory() {
  Fixture& fixture = Fixture::shared();
  const auto used = [] { return static_cast<double>(mallinfo2().uordblks) / 1000; };
  const auto fetch = [&] {
    std::size_t count = 0;
    for (int i = 301; i < 357; ++i) {
      count += fixture.sensor(i)->graphPoints().size();
      fixture.sensors[static_cast<std::size_t>(i)]->managedObjectContext()->refreshAllObjects();
    }
    const auto all = fixture.store->viewContext()->objectsOf(
        "GraphPoint",
        Predicate("sensor IN %@", {PredicateArgument::List(fixture.sensors.begin() + 301,
                                                           fixture.sensors.begin() + 357)}));
    return all ? all->size() : 0;
  };
  fetch();
  const auto objects = fixture.store->viewContext()->state()->registeredObjects();
  const double before = used();
  const std::size_t fetched = fetch();
  std::printf("\nMemory: %zu points fetched and released\n", fetched);
  std::printf("  allocated before %.0f KB, after %.0f KB; objects before %zu, after %zu\n", before,
              used(), objects, fixture.store->viewContext()->state()->registeredObjects());
}

// Nothing of this is saved: a large deletion stays in memory for a while.
void printDeletion() {
  Fixture& fixture = Fixture::shared();
  constexpr int kTimed = 20;
  constexpr int kBetween = 300;
  int next = 0;
  const auto millisecondsToDelete = [&](int count) {
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < count; ++i) {
      fixture.store->viewContext()->deleteObject(fixture.sensors[static_cast<std::size_t>(next++)]);
    }
    const std::chrono::duration<double, std::milli> taken =
        std::chrono::steady_clock::now() - start;
    return taken.count() / count;
  };
  const double first = millisecondsToDelete(kTimed);
  millisecondsToDelete(kBetween);
  const double last = millisecondsToDelete(kTimed);
  std::printf("\nDeletion of a sensor with 1,800 points and more\n");
  std::printf("  %.1f ms at first, %.1f ms after 300 others: %.2f (goal: at most 2)\n", first, last,
              last / first);
}

int run(int argc, char** argv) {
  benchmark::RegisterBenchmark("saveInStore", saveInStore);
  benchmark::RegisterBenchmark("insertWithIndex", insertWithIndex);
  benchmark::RegisterBenchmark("insertIntoHeap", insertIntoHeap);
  benchmark::RegisterBenchmark("fetchByKeyCached", fetchByKey, -1.0);
  benchmark::RegisterBenchmark("fetchByKeyFresh", fetchByKey, 0.0);
  benchmark::RegisterBenchmark("lookUp", lookUp);
  benchmark::RegisterBenchmark("walkHistory", walkHistory);
  benchmark::RegisterBenchmark("selectHistory", selectHistory);
  benchmark::RegisterBenchmark("fetchPointsAllSaved", fetchPoints, changeNothing);
  benchmark::RegisterBenchmark("fetchPointsUnsavedSensor", fetchPoints, changeValueOfSensor);
  benchmark::RegisterBenchmark("fetchPointsUnsavedPoint", fetchPoints, changeOnePoint);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 2;
  }
  RatioReporter reporter({
      {"save of 300 points / 300 bare inserts, indexed table", "saveInStore", "insertWithIndex",
       2.5},
      {"save of 300 points / 300 bare inserts, no index", "saveInStore", "insertIntoHeap", 2.5},
      {"fetch by key, staleness -1 / bare look-up", "fetchByKeyCached", "lookUp", 1.5},
      {"fetch by key, staleness 0 / bare look-up", "fetchByKeyFresh", "lookUp", 2.5},
      {"walk of 1,800 of a million points / bare SELECT", "walkHistory", "selectHistory", 3},
      {"points by sensor.key, a value of the sensor unsaved / saved", "fetchPointsUnsavedSensor",
       "fetchPointsAllSaved", 1.5},
      {"points by sensor.key, a value of a point unsaved / saved", "fetchPointsUnsavedPoint",
       "fetchPointsAllSaved", 1.5},
  });
  benchmark::RunSpecifiedBenchmarks(&reporter);
  printBytes();
  printMemory();
  printDeletion();
  return 0;
}

}  // namespace
}  // namespace kelvora::bench

int main(int argc, char** argv) { return kelvora::bench::run(argc, argv); }
