// The relationships of all entities are in one file, since each leads from one to another and back.
#include "KelvoraCore/KVCategory.h"
#include "KelvoraCore/KVFanCondition.h"
#include "KelvoraCore/KVFanSet.h"
#include "KelvoraCore/KVGraphPoint.h"
#include "KelvoraCore/KVSensor.h"

namespace kelvora {

std::vector<KVSensorPtr> KVCategory::sensors() const { return membersAs<KVSensor>("sensors"); }

void KVCategory::setSensors(const std::vector<KVSensorPtr>& objects) {
  setMembersAs<KVSensor>("sensors", objects);
}

void KVCategory::addToSensors(const KVSensorPtr& object) { addMember("sensors", object); }

void KVCategory::removeFromSensors(const KVSensorPtr& object) { removeMember("sensors", object); }

void KVCategory::insertIntoSensors(const KVSensorPtr& object, std::size_t index) {
  insertMember("sensors", object, index);
}

KVCategoryPtr KVSensor::category() const { return relatedAs<KVCategory>("category"); }
void KVSensor::setCategory(const KVCategoryPtr& object) { setRelated("category", object); }

std::vector<KVGraphPointPtr> KVSensor::graphPoints() const {
  return membersAs<KVGraphPoint>("graphPoints");
}

void KVSensor::setGraphPoints(const std::vector<KVGraphPointPtr>& objects) {
  setMembersAs<KVGraphPoint>("graphPoints", objects);
}

void KVSensor::addToGraphPoints(const KVGraphPointPtr& object) { addMember("graphPoints", object); }

void KVSensor::removeFromGraphPoints(const KVGraphPointPtr& object) {
  removeMember("graphPoints", object);
}

void KVSensor::insertIntoGraphPoints(const KVGraphPointPtr& object, std::size_t index) {
  insertMember("graphPoints", object, index);
}

KVSensorPtr KVGraphPoint::sensor() const { return relatedAs<KVSensor>("sensor"); }
void KVGraphPoint::setSensor(const KVSensorPtr& object) { setRelated("sensor", object); }

std::vector<KVFanConditionPtr> KVFanSet::fanConditions() const {
  return membersAs<KVFanCondition>("fanConditions");
}

void KVFanSet::setFanConditions(const std::vector<KVFanConditionPtr>& objects) {
  setMembersAs<KVFanCondition>("fanConditions", objects);
}

void KVFanSet::addToFanConditions(const KVFanConditionPtr& object) {
  addMember("fanConditions", object);
}

void KVFanSet::removeFromFanConditions(const KVFanConditionPtr& object) {
  removeMember("fanConditions", object);
}

KVFanSetPtr KVFanCondition::fanSet() const { return relatedAs<KVFanSet>("fanSet"); }
void KVFanCondition::setFanSet(const KVFanSetPtr& object) { setRelated("fanSet", object); }

}  // namespace kelvora
