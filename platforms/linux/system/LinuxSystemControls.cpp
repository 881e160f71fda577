#include "platforms/linux/system/LinuxSystemControls.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <unistd.h>

#include "platforms/linux/system/ProcText.h"
#include "platforms/linux/system/TextFile.h"
#include "platforms/linux/system/WholeNumber.h"
#include "ports/RoutingMessages.h"

namespace kelvora::platform {

namespace {

using Values = SystemControlTable::Values;

#ifdef __aarch64__
constexpr std::int32_t kProcessorType = 16777228;
#else
constexpr std::int32_t kProcessorType = 7;
#endif
constexpr std::int32_t kByteOrder = 1234;

void addText(Values& values, const char* name, const std::string& text) {
  if (!text.empty()) {
    values.emplace(name, textControlBytes(text));
  }
}

void addInt32(Values& values, const char* name, std::int32_t number) {
  if (number != 0) {
    values.emplace(name, int32ControlBytes(number));
  }
}

void addInt64(Values& values, const char* name, std::int64_t number) {
  if (number != 0) {
    values.emplace(name, int64ControlBytes(number));
  }
}

// A size like "512K" or "8M" in bytes.
std::int64_t cacheSizeBytes(const std::string& text) {
  if (text.ends_with('K')) {
    return numberOf(text) << 10;
  }
  if (text.ends_with('M')) {
    return numberOf(text) << 20;
  }
  return numberOf(text);
}

const char* cacheControlName(const std::string& level, const std::string& type) {
  if (level == "1") {
    return type == "Instruction" ? "hw.l1icachesize" : "hw.l1dcachesize";
  }
  if (level == "2") {
    return "hw.l2cachesize";
  }
  if (level == "3") {
    return "hw.l3cachesize";
  }
  return nullptr;
}

void addCaches(Values& values, const std::string& processor) {
  for (int index = 0;; ++index) {
    const std::string folder = processor + "/cache/index" + std::to_string(index);
    const auto level = readLine(folder + "/level");
    const auto type = readLine(folder + "/type");
    const auto size = readLine(folder + "/size");
    if (!level || !type || !size) {
      return;
    }
    if (const char* name = cacheControlName(*level, *type)) {
      addInt64(values, name, cacheSizeBytes(*size));
    }
  }
}

std::int64_t frequencyHz(const std::string& processor, const ProcessorFacts& facts) {
  constexpr std::int64_t kHzPerKHz = 1000;
  for (const char* name : {"/cpufreq/base_frequency", "/cpufreq/cpuinfo_max_freq"}) {
    if (const auto kHz = numberOf(readLine(processor + name)); kHz != 0) {
      return kHz * kHzPerKHz;
    }
  }
  return static_cast<std::int64_t>(facts.frequencyHz);
}

void addProcessors(Values& values, const std::string& root) {
  const ProcessorFacts facts = processorFactsOf(readFile(root + "/proc/cpuinfo").value_or(""));
  const std::string processor = root + "/sys/devices/system/cpu/cpu0";
  addText(values, "machdep.cpu.brand_string", facts.brand);
  addText(values, "machdep.cpu.vendor", facts.vendor);
  addInt32(values, "machdep.cpu.core_count", facts.coresPerPackage);
  addInt32(values, "machdep.cpu.thread_count", facts.threadsPerPackage);
  addInt32(values, "hw.packages", facts.packages);
  addInt32(values, "hw.ncpu", facts.logicalProcessors);
  addInt64(values, "hw.cpufrequency", frequencyHz(processor, facts));
  addCaches(values, processor);
}

Values valuesOf(const std::string& root) {
  Values values;
  addText(values, "hw.model", readLine(root + "/sys/class/dmi/id/product_name").value_or(""));
  addText(values, "kern.ostype", "Linux");
  addProcessors(values, root);
  const auto memory = memorySizeOf(readFile(root + "/proc/meminfo").value_or(""), "MemTotal");
  addInt64(values, "hw.memsize", static_cast<std::int64_t>(memory.value_or(0)));
  addInt64(values, "hw.pagesize", sysconf(_SC_PAGESIZE));
  addInt32(values, "hw.byteorder", kByteOrder);
  addInt32(values, "hw.cputype", kProcessorType);
  return values;
}

}  // namespace

LinuxSystemControls::LinuxSystemControls(std::string root) : root_(std::move(root)) {}

int LinuxSystemControls::byName(const char* name, void* value, std::size_t* size) {
  return table().byName(name, value, size);
}

int LinuxSystemControls::byNumber(std::span<const int> name, void* value, std::size_t* size) {
  if (std::ranges::equal(name, kInterfaceListControl)) {
    return interfaceList(value, size);
  }
  return table().byNumber(name, value, size);
}

int LinuxSystemControls::interfaceList(void* value, std::size_t* size) const {
  int error = 0;
  const auto text = readFile(root_ + "/proc/net/dev", error);
  // A kernel without networks has no such file, and no interfaces.
  if (!text && error != ENOENT) {
    return error;
  }
  return copyControl(interfaceListBytes(interfaceCountersOf(text.value_or(""))), value, size);
}

SystemControlTable& LinuxSystemControls::table() {
  std::call_once(isRead_, [this] { table_.emplace(valuesOf(root_)); });
  return *table_;
}

}  // namespace kelvora::platform
