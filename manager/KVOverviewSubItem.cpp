#include "KelvoraCore/KVOverviewSubItem.h"

#include "base/Truncated.h"

namespace kelvora {

std::string KVOverviewSubItem::valueDisplay() const {
  return std::to_string(truncated(value * 100)) + '%';
}

}  // namespace kelvora
