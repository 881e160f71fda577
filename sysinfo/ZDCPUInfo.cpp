#include "KelvoraCore/ZDCPUInfo.h"

#include "KelvoraCore/KVExtension.h"

namespace kelvora {

std::string ZDCPUInfo::shortBrand() const {
  return KVExtension::removedRegexMatchesWithPattern(brand, "Apple ", "");
}

}  // namespace kelvora
