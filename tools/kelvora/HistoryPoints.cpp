#include "tools/kelvora/HistoryPoints.h"

#include <algorithm>
#include <memory>

namespace kelvora::tool {

namespace {

// How much of a series one save deletes.
constexpr double kMostSeconds = 300;
constexpr double kMostSteps = 60;

double mostSeconds(const HistorySeries& series) {
  return series.stepSeconds > 0 ? kMostSteps * series.stepSeconds : kMostSeconds;
}

Predicate between(const HistorySeries& series, double from, double until) {
  return Predicate("timeRange = %d && pointX >= %f && pointX <= %f",
                   {series.timeRange, from, until});
}

}  // namespace

bool HistoryPoints::hasPoint(const HistorySeries& series, double seconds) {
  const double begin = series.stepBegin(seconds);
  return store_.viewContext()->objectOf(
             KVGraphPoint::kEntityName,
             Predicate("timeRange = %d && pointX >= %f && pointX < %f",
                       {series.timeRange, begin, begin + series.stepSeconds})) != nullptr;
}

void HistoryPoints::add(const HistorySeries& series, const KVSensorPtr& sensor, double seconds,
                        double value) {
  const KVGraphPointPtr point = store_.createGraphPoint();
  point->setPointX(seconds);
  point->setPointY(value);
  point->setTimeRange(series.timeRange);
  point->setSensor(sensor);
  added_.push_back(point);
}

void HistoryPoints::undoAdded() {
  for (const KVGraphPointPtr& point : added_) {
    store_.viewContext()->deleteObject(point);
  }
}

bool HistoryPoints::remove(const HistorySeries& series, double from, double until) {
  const ManagedObjectContextPtr context = store_.viewContext();
  const auto first = std::dynamic_pointer_cast<KVGraphPoint>(
      context->objectOf(KVGraphPoint::kEntityName, between(series, from, until)));
  if (first == nullptr) {
    return true;
  }
  const double end = std::min(until, first->pointX() + mostSeconds(series));
  const auto points =
      context->objectsOf(KVGraphPoint::kEntityName, between(series, first->pointX(), end));
  if (points) {
    for (const ManagedObjectPtr& point : *points) {
      context->deleteObject(point);
    }
  }
  return end == until;
}

}  // namespace kelvora::tool
