#include "tools/kelvora/HistoryRecorder.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <unordered_set>
#include <utility>

namespace kelvora::tool {

namespace {

constexpr double kKeepValues = -1;

// How many samples are saved at once after an outage: the next sample must not be late.
constexpr std::size_t kMostAtOnce = 60;

// How long a clock that was set back must run on before points of a later time are deleted. A Mac
// without a battery begins in the past, and gets the time from the network soon.
constexpr double kSteadySeconds = 600;

// How often what has expired is deleted. The store has the points of each sensor side by side, so
// that a deletion changes some pages of every sensor however little it deletes.
constexpr double kTrimSeconds = 300;

constexpr double kForever = std::numeric_limits<double>::max();

constexpr char kUnreadable[] = "the store cannot be opened or read ('kelvora doctor' may say more)";

double secondsOf(HistoryRecorder::Instant instant) {
  return std::chrono::duration<double>(instant.time_since_epoch()).count();
}

SensorList eachKeyOnce(SensorList sensors) {
  std::unordered_set<std::string> keys;
  std::erase_if(sensors, [&](const auto& sensor) { return !keys.insert(sensor->key).second; });
  return sensors;
}

}  // namespace

KVDataManager& HistoryRecorder::manager() {
  if (manager_ == nullptr) {
    manager_ = std::make_unique<KVDataManager>(platform_);
    // Within a sample values stay as they were read; the next one reads all of them again.
    if (const auto context = manager_->coreDataStore().viewContext()) {
      context->setStalenessInterval(kKeepValues);
    }
  }
  return *manager_;
}

HistoryRecorder::Outcome HistoryRecorder::sample(Instant instant) {
  Outcome outcome;
  outcome.sensors = eachKeyOnce(controller_.getAllSensors());
  std::optional<StoredSensors> stored = readStore();
  if (stored) {
    stored->addCustomSensors(controller_, outcome.sensors);
  }
  remember(secondsOf(instant), outcome.sensors);
  if (stored) {
    stored->update(outcome.sensors);
    save(*stored, kMostAtOnce, outcome);
  } else {
    outcome.fault = kUnreadable;
    manager_.reset();
  }
  if (outcome.fault == ManagedObjectContext::kStoreMovedError) {
    beginNewStore(outcome.sensors, outcome);
  }
  outcome.waiting = waiting_.size();
  return outcome;
}

HistoryRecorder::Outcome HistoryRecorder::saveWaiting() {
  Outcome outcome;
  if (!waiting_.empty()) {
    if (const auto stored = readStore()) {
      save(*stored, waiting_.size(), outcome);
    } else {
      outcome.fault = kUnreadable;
    }
  }
  outcome.waiting = waiting_.size();
  return outcome;
}

std::optional<StoredSensors> HistoryRecorder::readStore() {
  KVCoreDataStore& store = manager().coreDataStore();
  const ManagedObjectContextPtr context = store.viewContext();
  if (context == nullptr) {  // there is no model
    return std::nullopt;
  }
  context->refreshAllObjects();
  return StoredSensors::read(store);
}

// A reading has points of the series in which it begins a step. After an outage of the store that
// is known without it.
void HistoryRecorder::remember(double seconds, const SensorList& sensors) {
  Reading reading;
  reading.seconds = seconds;
  auto keys = std::make_shared<std::vector<std::string>>();
  for (const SensorPtr& sensor : sensors) {
    keys->push_back(sensor->key);
    reading.values.push_back(sensor->value);
  }
  const bool isSame = !waiting_.empty() && *waiting_.back().keys == *keys;
  reading.keys = isSame ? waiting_.back().keys : keys;
  for (std::size_t i = 0; i < kHistorySeries.size(); ++i) {
    const HistorySeries& series = kHistorySeries.at(i);
    reading.isIn.at(i) = !last_ || series.stepBegin(seconds) != series.stepBegin(*last_);
  }
  if (!last_ || seconds < *last_) {
    steadySince_ = seconds;
  }
  isTrimmed_ =
      isTrimmed_ && std::floor(seconds / kTrimSeconds) == std::floor(*last_ / kTrimSeconds);
  last_ = seconds;
  waiting_.push_back(std::move(reading));
  forgetExpired();
}

// Those that no series would keep now.
void HistoryRecorder::forgetExpired() {
  std::erase_if(waiting_, [this](const Reading& reading) {
    for (std::size_t i = 0; i < kHistorySeries.size(); ++i) {
      if (reading.isIn.at(i) && reading.seconds > *last_ - kHistorySeries.at(i).keptSeconds) {
        return false;
      }
    }
    return true;
  });
}

void HistoryRecorder::save(const StoredSensors& stored, std::size_t most, Outcome& outcome) {
  const ManagedObjectContextPtr context = manager().coreDataStore().viewContext();
  HistoryPoints points(manager().coreDataStore());
  for (; !waiting_.empty() && outcome.saved < most; ++outcome.saved) {
    add(waiting_.front(), stored, points);
    if (waiting_.size() == 1) {
      removeExpired(points);
    }
    if (const auto fault = context->save()) {
      outcome.fault = *fault;
      isTrimmed_ = false;
      // The sensors keep their values, unsaved: what compares them sees those of now.
      points.undoAdded();
      return;
    }
    points.keepAdded();
    waiting_.pop_front();
  }
  announceDataset();
}

void HistoryRecorder::add(const Reading& reading, const StoredSensors& stored,
                          HistoryPoints& points) const {
  std::vector<const HistorySeries*> wanted;
  for (std::size_t i = 0; i < kHistorySeries.size(); ++i) {
    const HistorySeries& series = kHistorySeries.at(i);
    const bool isKept = reading.isIn.at(i) && reading.seconds > *last_ - series.keptSeconds;
    // An earlier recording, or one from before the clock was set back, may have been first.
    if (isKept && (series.stepSeconds == 0 || !points.hasPoint(series, reading.seconds))) {
      wanted.push_back(&series);
    }
  }
  for (std::size_t key = 0; key < reading.keys->size(); ++key) {
    const KVSensorPtr sensor = stored.sensor(reading.keys->at(key));
    const double value = reading.values.at(key);
    if (sensor == nullptr || !StoredSensors::isRead(value)) {
      continue;
    }
    StoredSensors::widenExtremes(*sensor, value);
    for (const HistorySeries* series : wanted) {
      points.add(*series, sensor, reading.seconds, value);
    }
  }
}

void HistoryRecorder::removeExpired(HistoryPoints& points) {
  if (isTrimmed_) {
    return;
  }
  isTrimmed_ = true;
  const bool isSteady = *last_ - steadySince_ >= kSteadySeconds;
  for (const HistorySeries& series : kHistorySeries) {
    isTrimmed_ &= points.remove(series, -kForever, *last_ - series.keptSeconds);
    isTrimmed_ &= !isSteady || points.remove(series, std::nextafter(*last_, kForever), kForever);
  }
}

// What waited is from before the user's data was cleared.
void HistoryRecorder::beginNewStore(const SensorList& sensors, Outcome& outcome) {
  outcome.fault = kUnreadable;
  outcome.isStoreNew = true;
  manager_.reset();
  waiting_.erase(waiting_.begin(), waiting_.end() - 1);
  waiting_.back().isIn.fill(true);
  isDatasetAnnounced_ = false;
  if (auto stored = readStore()) {
    outcome.fault.clear();
    stored->update(sensors);
    save(*stored, kMostAtOnce, outcome);
  }
}

void HistoryRecorder::announceDataset() {
  if (!isDatasetAnnounced_) {
    isDatasetAnnounced_ = true;
    manager().setDataSetReady(true);
    KVDataManager::postDidGenerateDataset();
  }
}

}  // namespace kelvora::tool
