#include "sysinfo/ProcessList.h"

#include <algorithm>
#include <string>

#include "KelvoraCore/KVExtension.h"
#include "KelvoraCore/PropertyListValue.h"

namespace kelvora {

namespace {

using KVExtension::getPattern;
using KVExtension::replace;
using KVExtension::trimWhitespace;

// What a pattern matches is removed wherever it occurs in the line, not only where it matched.
std::string takePattern(std::string& line, std::string_view pattern) {
  std::string match = getPattern(line, pattern);
  line = trimWhitespace(replace(line, match, ""));
  return match;
}

CPUTopProcess processOf(std::string_view text) {
  std::string line = trimWhitespace(text);
  CPUTopProcess process;
  process.pid = PropertyListValue(takePattern(line, "^\\d+")).integerValue();
  // Some locales use a decimal comma.
  const std::string usage = takePattern(line, "^[0-9,.]+ ");
  process.usage = PropertyListValue(replace(usage, ",", ".")).doubleValue();
  process.command = line;
  return process;
}

std::string_view takeLine(std::string_view& text) {
  const std::string_view line = text.substr(0, text.find('\n'));
  text.remove_prefix(std::min(line.size() + 1, text.size()));
  return line;
}

}  // namespace

platform::ChildRequest processListRequest() {
  platform::ChildRequest request;
  request.path = "/bin/ps";
  request.arguments = {"-Aceo pid,pcpu,comm", "-r"};
  request.captureStandardOutput = true;
  request.discardStandardError = true;
  return request;
}

std::vector<CPUTopProcess> parseProcessList(std::string_view text, std::int64_t number) {
  std::vector<CPUTopProcess> processes;
  takeLine(text);  // the header
  for (std::int64_t count = 0; count != number && !text.empty(); ++count) {
    processes.push_back(processOf(takeLine(text)));
  }
  return processes;
}

}  // namespace kelvora
