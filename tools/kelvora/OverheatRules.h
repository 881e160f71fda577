#pragma once

#include <chrono>
#include <map>
#include <string>
#include <vector>

#include "KelvoraCore/KVDataManager.h"
#include "KelvoraCore/Sensor.h"

namespace kelvora::tool {

/// An overheat rule that fired, and why.
struct FiredRule {
  KVNotification rule;     ///< as stored before it fired
  std::string sensorKey;   ///< of the sensor that reached the limit, e.g. "TC0P"
  std::string sensorName;  ///< its name now, e.g. "CPU Proximity"
  double value = 0;        ///< its value, in the user's unit, as the limit
};

/// Compares readings with the user's overheat rules.
///
/// A rule fires when it is active and the value of its sensor is at its limit or above. A limit is
/// in the unit that the user had chosen when the rule was written and is never converted; so it is
/// compared with the value in the unit that is chosen now. A rule for "any-sensor" means the
/// hottest of the discovered temperatures; computed ones only repeat them. A sensor that could not
/// be read, or whose value is negative, neither fires a rule nor counts as below the limit.
///
/// A rule with a repetition fires again while the limit is reached, but not before its delay after
/// `lastTimeFired` has passed. One without fires once, and again only after its value has been
/// below the limit. Both follow from `lastTimeFired` in the shared list of rules, so that they hold
/// across programs and launches: firing sets it, and a value below the limit removes it from a rule
/// without repetition. Two programs that compare at once fire a rule once. A rule that fires while
/// the list cannot be stored keeps its time in this object. The store is not needed.
///
/// Main thread only.
class OverheatRules {
 public:
  using Instant = std::chrono::system_clock::time_point;

  /// The rules in the manager's settings that fire at this instant, in the order of the list.
  /// `sensors` were read just now, each key once.
  std::vector<FiredRule> fire(KVDataManager& manager, Instant now, const SensorList& sensors);

 private:
  bool isQuiet(const KVNotification& rule, Instant now) const;
  bool takeTurn(KVDataManager& manager, const FiredRule& fired, Instant now);
  void arm(KVDataManager& manager, const KVNotification& rule);

  std::map<std::string, Instant> unstored_;  // by key, of rules that fired and were not stored
};

}  // namespace kelvora::tool
