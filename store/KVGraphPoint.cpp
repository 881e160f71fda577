#include "KelvoraCore/KVGraphPoint.h"

#include <utility>

namespace kelvora {

namespace {

// In the order of attributeNames().
enum Name : std::size_t { kPointX, kPointY, kTimeRange };

}  // namespace

const std::vector<std::string>& KVGraphPoint::attributeNames() {
  static const std::vector<std::string> names{"pointX", "pointY", "timeRange"};
  return names;
}

double KVGraphPoint::pointX() const { return doubleAt(kPointX); }
void KVGraphPoint::setPointX(double value) { setValueAt(kPointX, value); }

double KVGraphPoint::pointY() const { return doubleAt(kPointY); }
void KVGraphPoint::setPointY(double value) { setValueAt(kPointY, value); }

std::int16_t KVGraphPoint::timeRange() const {
  return static_cast<std::int16_t>(integerAt(kTimeRange));
}
void KVGraphPoint::setTimeRange(std::int16_t value) { setValueAt(kTimeRange, std::int64_t{value}); }

}  // namespace kelvora
