#include "platforms/linux/settings/SettingsReading.h"

#include <cerrno>
#include <ctime>
#include <system_error>
#include <utility>
#include <vector>

#include <fcntl.h>

#include "base/PropertyListFile.h"

namespace kelvora::platform {

namespace {

constexpr off_t kMostBytes = 16 << 20;
constexpr const char* kTooLarge = "larger than 16 MB";

// File times have the resolution of this clock. A change within the tick of the last one may leave
// no trace in them.
bool isInCurrentTick(const timespec& time) {
  timespec now = {};
  clock_gettime(CLOCK_REALTIME_COARSE, &now);
  return std::pair(time.tv_sec, time.tv_nsec) >= std::pair(now.tv_sec, now.tv_nsec);
}

// The whole content; none when reading fails, with the reason in errno (EFBIG: it grew too large).
std::optional<std::vector<std::byte>> readAll(int descriptor, std::size_t expectedBytes) {
  std::vector<std::byte> bytes(expectedBytes + 1);
  std::size_t filled = 0;
  while (filled <= kMostBytes) {
    const ssize_t count = read(descriptor, bytes.data() + filled, bytes.size() - filled);
    if (count < 0 && errno != EINTR) {
      return std::nullopt;
    }
    if (count == 0) {
      bytes.resize(filled);
      return bytes;
    }
    filled += count < 0 ? 0 : static_cast<std::size_t>(count);
    if (filled == bytes.size()) {
      bytes.resize(bytes.size() * 2);
    }
  }
  errno = EFBIG;
  return std::nullopt;
}

void fail(SettingsReading& reading, SettingsState state, const std::string& why) {
  reading.state = state;
  reading.fault = why;
}

void failUnreadable(SettingsReading& reading) {
  fail(reading, SettingsState::kUnreadable, std::generic_category().message(errno));
}

void parse(SettingsReading& reading, std::span<const std::byte> bytes) {
  PropertyListReading list = parsePropertyList(bytes);
  const auto* values = list.value ? list.value->as<PropertyListValue::Dictionary>() : nullptr;
  if (values == nullptr) {
    fail(reading, SettingsState::kDamaged, list.value ? "not a dictionary" : list.failure);
    return;
  }
  reading.values = *values;
  reading.state = SettingsState::kReadable;
}

void readOpenFile(SettingsReading& reading) {
  struct stat facts = {};
  if (fstat(reading.file.get(), &facts) != 0) {
    failUnreadable(reading);
    return;
  }
  if (!S_ISREG(facts.st_mode)) {
    reading.facts = facts;
    fail(reading, SettingsState::kDamaged, "not a file");
    return;
  }
  if (facts.st_size > kMostBytes) {
    reading.facts = facts;
    fail(reading, SettingsState::kUnreadable, kTooLarge);
    return;
  }
  auto bytes = readAll(reading.file.get(), static_cast<std::size_t>(facts.st_size));
  if (!bytes) {
    failUnreadable(reading);
    return;
  }
  if (!isInCurrentTick(facts.st_ctim)) {
    reading.facts = facts;
  }
  parse(reading, *bytes);
  if (reading.state == SettingsState::kReadable) {
    reading.bytes = *std::move(bytes);
  }
}

}  // namespace

SettingsReading readSettingsFile(const std::string& path) {
  SettingsReading reading;
  // Not blocking: the path may lead to a pipe.
  reading.file = FileDescriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (reading.file.isOpen()) {
    readOpenFile(reading);
  } else if (errno == ENXIO) {
    fail(reading, SettingsState::kDamaged, "not a file");
  } else if (errno != ENOENT && errno != ENOTDIR) {
    failUnreadable(reading);
  }
  return reading;
}

std::string faultOfSettings(std::span<const std::byte> bytes) {
  if (bytes.size() > kMostBytes) {
    return kTooLarge;
  }
  SettingsReading reading;
  parse(reading, bytes);
  return reading.fault;
}

}  // namespace kelvora::platform
