#include "presentation/StringsTables.h"

#include <array>
#include <span>
#include <system_error>
#include <utility>
#include <vector>

#include "base/InputFile.h"
#include "base/Log.h"

namespace kelvora {

namespace {

struct FileReading {
  std::vector<char> bytes;
  int error = 0;  // of the system; 0 for none
};

FileReading readFile(const std::string& path) {
  InputFile file(path);
  FileReading reading;
  std::array<char, 16384> buffer{};
  while (const std::size_t count = file.read(buffer)) {
    const auto filled = std::span(buffer).first(count);
    reading.bytes.insert(reading.bytes.end(), filled.begin(), filled.end());
  }
  reading.error = file.error();
  return reading;
}

}  // namespace

StringsTables& StringsTables::shared() {
  static StringsTables& tables = *new StringsTables();
  return tables;
}

void StringsTables::read(const std::string& path, const FileVersion& version, Entry& entry) {
  const FileReading file = readFile(path);
  std::string failure;
  if (file.error != 0) {
    failure = std::generic_category().message(file.error);
  } else {
    StringsTableReading reading = parseStringsTable(std::as_bytes(std::span(file.bytes)));
    entry.table =
        std::make_shared<const StringsTable>(std::move(reading.table).value_or(StringsTable()));
    entry.version = version;
    failure = std::move(reading.failure);
  }
  if (!failure.empty() && failure != entry.failure) {
    log("Localization: " + path + ": " + failure);
  }
  entry.failure = std::move(failure);
}

std::shared_ptr<const StringsTable> StringsTables::tableOf(const std::string& path) {
  const auto version = fileVersion(path);
  if (!version) {
    return std::make_shared<const StringsTable>();
  }
  const std::lock_guard lock(mutex_);
  Entry& entry = entries_[path];
  if (entry.version != version) {
    read(path, *version, entry);
  }
  return entry.table;
}

}  // namespace kelvora
