#include <string>

#include "KelvoraCore/KVExtension.h"

#include "base/Blanks.h"
#include "ports/IORegistry.h"
#include "sysinfo/ProcessorQuery.h"
#include "sysinfo/RegistryValues.h"

namespace kelvora {

namespace {

using Properties = PropertyListValue::Dictionary;

std::int32_t clusterType(const Properties& properties) {
  const auto* data = dataProperty(properties, "cluster-type");
  if (data == nullptr) {
    return CPUCoreTypeUnknown;
  }
  const std::string text = textOfData(*data);
  const std::string_view cluster = trimmedOfBlanksAndLineEnds(text);
  if (cluster == "E") {
    return CPUCoreTypeEfficiency;
  }
  return cluster == "P" ? CPUCoreTypePerformance : CPUCoreTypeUnknown;
}

CPUCoreInfo core(const std::string& name, const Properties& properties) {
  const auto* identifier = dataProperty(properties, "cpu-id");
  return {.coreId = identifier == nullptr ? 0 : int32OfData(*identifier),
          .name = name,
          .type = clusterType(properties)};
}

// A later node's count replaces an earlier one's.
void readCount(const Properties& properties, const char* key, std::optional<std::int32_t>& count) {
  if (const auto* data = dataProperty(properties, key)) {
    count = int32OfData(*data);
  }
}

void addNode(const platform::RegistryEntry& node, CPUCoresInfo& cores) {
  const auto name = getIOName(node);
  const auto properties = getIOProperties(node);
  if (!name || !properties) {
    return;
  }
  if (!KVExtension::getPattern(*name, "^cpu\\d").empty()) {
    cores.coreList.push_back(core(*name, *properties));
  } else if (*name == "cpus") {
    readCount(*properties, "e-core-count", cores.eCores);
    readCount(*properties, "p-core-count", cores.pCores);
  }
}

}  // namespace

std::optional<CPUCoresInfo> queryCores(platform::IORegistry& registry) {
  const auto services = registry.matchingServices("AppleARMPE");
  if (!services) {
    return std::nullopt;
  }
  CPUCoresInfo cores;
  for (const auto& service : *services) {
    for (const auto& node : service->children("IOService")) {
      addNode(*node, cores);
    }
  }
  return cores;
}

}  // namespace kelvora
