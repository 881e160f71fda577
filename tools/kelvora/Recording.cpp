#include "tools/kelvora/Recording.h"

namespace kelvora::tool {

Recording::Sample Recording::sample(Instant instant) {
  Sample sample{recorder_.sample(instant), std::nullopt, {}};
  const SensorList& sensors = sample.outcome.sensors;
  isBegun_ = isBegun_ || !sensors.empty();
  if (!isBegun_) {
    return sample;
  }
  sample.logFault = log_.append(instant, sensors, recorder_.manager());
  sample.fired = rules_.fire(recorder_.manager(), instant, sensors);
  return sample;
}

}  // namespace kelvora::tool
