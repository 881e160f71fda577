// The "statistics" member of a machine file.
#include "platforms/recorded/file/MachineFileParts.h"

namespace kelvora::platform {

namespace {

ProcessorTicks ticksAt(const JSONPlace& place) {
  const auto ticks = elementsAt<std::uint32_t>(
      place, [](const JSONPlace& at) { return at.integer<std::uint32_t>(); });
  if (ticks.size() != 4) {
    place.refuse("must be four numbers: user, system, idle, nice");
  }
  return {ticks[0], ticks[1], ticks[2], ticks[3]};
}

// A group that lacks a part was not recorded.
std::optional<MemoryPages> memoryAt(const JSONPlace& place) {
  MemoryPages pages;
  const auto read = [&](const char* name, std::uint32_t& count) {
    return place.member(name, [&](const JSONPlace& at) { count = at.integer<std::uint32_t>(); });
  };
  const bool hasFree = read("free", pages.free);
  const bool hasActive = read("active", pages.active);
  const bool hasInactive = read("inactive", pages.inactive);
  const bool hasWired = read("wired", pages.wired);
  if (!hasFree || !hasActive || !hasInactive || !hasWired) {
    return std::nullopt;
  }
  return pages;
}

std::optional<FileSystemSize> fileSystemAt(const JSONPlace& place) {
  FileSystemSize size;
  const auto read = [&](const char* name, std::int64_t& bytes) {
    return place.member(name, [&](const JSONPlace& at) {
      bytes = at.integer(0, std::numeric_limits<std::int64_t>::max());
    });
  };
  const bool hasTotal = read("total", size.totalBytes);
  const bool hasFree = read("free", size.freeBytes);
  if (!hasTotal || !hasFree) {
    return std::nullopt;
  }
  return size;
}

InterfaceCounters interfaceAt(const JSONPlace& place) {
  InterfaceCounters counters;
  place.requiredMember("name", [&](const JSONPlace& at) { counters.name = at.text(); });
  place.member("received",
               [&](const JSONPlace& at) { counters.receivedBytes = at.integer<std::uint64_t>(); });
  place.member("sent",
               [&](const JSONPlace& at) { counters.sentBytes = at.integer<std::uint64_t>(); });
  return counters;
}

}  // namespace

RecordedStatistics statisticsAt(const JSONPlace& place) {
  RecordedStatistics statistics;
  place.member("uptime", [&](const JSONPlace& at) { statistics.uptimeSeconds = at.number(); });
  place.member("processorTicks", [&](const JSONPlace& at) {
    statistics.processorTicks = elementsAt<ProcessorTicks>(at, ticksAt);
  });
  place.member("pageSize", [&](const JSONPlace& at) {
    statistics.pageSizeBytes = at.integer<std::uint32_t>();
  });
  place.member("memory", [&](const JSONPlace& at) { statistics.memory = memoryAt(at); });
  place.member("fileSystem",
               [&](const JSONPlace& at) { statistics.fileSystem = fileSystemAt(at); });
  place.member("interfaces", [&](const JSONPlace& at) {
    statistics.interfaces = elementsAt<InterfaceCounters>(at, interfaceAt);
  });
  return statistics;
}

}  // namespace kelvora::platform
