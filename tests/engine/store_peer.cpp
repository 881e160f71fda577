// Another program on the same store file. XDG_DATA_HOME says where it is.
//   store_peer count KEY TIMES LEDGER   sets the value of a sensor to 1…TIMES and adds a point,
//                                       one save each, and writes "KEY i" to the ledger after it
//   store_peer follow STOPFILE          reads until the file exists; values never go back
//   store_peer endless LEDGER           like count for the key "endless", until it is killed
//   store_peer probe [UID [BYTES]]      as a user, with a limit on file sizes: reads and saves once
//   store_peer set KEY VALUE            gives a sensor a value and saves
//   store_peer hold PATH                holds the write lock until its standard input ends
//   store_peer own PATH                 the same with the whole file, which is then unreadable
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>

#include <SQLiteCpp/Database.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include "KelvoraCore/KVCoreDataStore.h"

#include "ports/Ports.h"

namespace {

using kelvora::KVCoreDataStore;

void note(int ledger, const std::string& line) {
  const std::string text = line + "\n";
  if (write(ledger, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
    std::_Exit(3);
  }
}

int count(const std::string& key, long times, const char* ledgerPath) {
  const int ledger = open(ledgerPath, O_WRONLY | O_APPEND | O_CREAT, 0600);
  KVCoreDataStore store(0);
  const auto view = store.viewContext();
  for (long i = 1; times < 0 || i <= times; ++i) {
    const auto sensor = store.createSensorWithKey(key, view);
    sensor->setValue(static_cast<double>(i));
    const auto point = store.createGraphPoint();
    point->setPointX(static_cast<double>(i));
    point->setSensor(sensor);
    for (int tries = 0; view->hasChanges(); ++tries) {
      if (tries == 100) {
        return 7;
      }
      store.saveViewContext();
    }
    note(ledger, key + " " + std::to_string(i));
  }
  return 0;
}

int follow(const std::string& stopFile) {
  KVCoreDataStore store(0);
  std::map<std::string, double> last;
  while (!std::filesystem::exists(stopFile)) {
    const auto sensors = store.allSensors();
    if (!sensors) {
      return 4;
    }
    for (const auto& sensor : *sensors) {
      const double value = sensor->value();
      if (value < last[sensor->key()]) {
        return 5;
      }
      last[sensor->key()] = value;
    }
  }
  return 0;
}

int probe() {
  KVCoreDataStore store(-1);
  const auto view = store.viewContext();
  const auto sensors = store.allSensors();
  std::printf("sensors %s\n", sensors ? std::to_string(sensors->size()).c_str() : "none");
  for (int i = 0; i < 2000; ++i) {
    store.createGraphPoint()->setPointX(i);
  }
  store.saveViewContext();
  std::printf("unsaved %s\n", view->hasChanges() ? "yes" : "no");
  return 0;
}

int set(const std::string& key, double value) {
  KVCoreDataStore store(-1);
  store.createSensorWithKey(key, store.viewContext())->setValue(value);
  store.saveViewContext();
  return store.viewContext()->hasChanges() ? 7 : 0;
}

int hold(const char* path, const char* mode) {
  SQLite::Database database(path, SQLite::OPEN_READWRITE);
  database.exec(std::string("PRAGMA locking_mode=") + mode);
  database.exec("BEGIN IMMEDIATE; PRAGMA user_version=1");
  std::printf("locked\n");
  std::fflush(stdout);
  std::getchar();
  return 0;
}

void limit(int argc, char** argv) {
  if (argc > 3) {
    const rlimit size{std::strtoul(argv[3], nullptr, 10), std::strtoul(argv[3], nullptr, 10)};
    setrlimit(RLIMIT_FSIZE, &size);
    std::signal(SIGXFSZ, SIG_IGN);
  }
  if (argc > 2 && std::atoi(argv[2]) != 0 && setuid(static_cast<uid_t>(std::atoi(argv[2]))) != 0) {
    std::_Exit(6);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const std::string mode = argc > 1 ? argv[1] : "";
  if (mode == "count" && argc == 5) {
    return count(argv[2], std::atol(argv[3]), argv[4]);
  }
  if (mode == "endless" && argc == 3) {
    return count("endless", -1, argv[2]);
  }
  if (mode == "follow" && argc == 3) {
    return follow(argv[2]);
  }
  if (mode == "set" && argc == 4) {
    return set(argv[2], std::atof(argv[3]));
  }
  if ((mode == "hold" || mode == "own") && argc == 3) {
    return hold(argv[2], mode == "own" ? "EXCLUSIVE" : "NORMAL");
  }
  if (mode == "probe") {
    limit(argc, argv);
    return probe();
  }
  return 2;
}
