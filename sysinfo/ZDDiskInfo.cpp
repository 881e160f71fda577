#include "KelvoraCore/ZDDiskInfo.h"

namespace kelvora {

std::string ZDDiskInfo::displayName() const {
  if (!model.empty()) {
    return model;
  }
  return name.empty() ? "Unknown" : name;
}

}  // namespace kelvora
