#include "platforms/linux/system/ProcText.h"

#include <algorithm>
#include <charconv>
#include <set>
#include <system_error>

namespace kelvora::platform {

namespace {

constexpr std::string_view kBlanks = " \t";

std::string_view trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) {
    return {};
  }
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::vector<std::string_view> wordsOf(std::string_view text) {
  std::vector<std::string_view> words;
  while (true) {
    text = trimmed(text);
    if (text.empty()) {
      return words;
    }
    const std::size_t end = std::min(text.find_first_of(kBlanks), text.size());
    words.push_back(text.substr(0, end));
    text.remove_prefix(end);
  }
}

template <typename T>
std::optional<T> leadingNumber(std::string_view text) {
  T number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc{}) {
    return std::nullopt;
  }
  return number;
}

std::optional<std::vector<std::uint64_t>> numbersOf(std::string_view text) {
  std::vector<std::uint64_t> numbers;
  for (const std::string_view word : wordsOf(text)) {
    const auto number = leadingNumber<std::uint64_t>(word);
    if (!number) {
      return std::nullopt;
    }
    numbers.push_back(*number);
  }
  return numbers;
}

// "name : value", for the separator given.
std::optional<std::pair<std::string_view, std::string_view>> fieldOf(std::string_view line,
                                                                     char separator) {
  const std::size_t at = line.find(separator);
  if (at == std::string_view::npos) {
    return std::nullopt;
  }
  return std::pair(trimmed(line.substr(0, at)), trimmed(line.substr(at + 1)));
}

// The kernel writes blanks, tabs, line ends and backslashes of a path as three octal digits.
std::string withoutOctalEscapes(std::string_view text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    unsigned code = 0;
    const char* digits = text.data() + i + 1;
    if (text[i] == '\\' && i + 3 < text.size() &&
        std::from_chars(digits, digits + 3, code, 8).ptr == digits + 3) {
      result += static_cast<char>(code);
      i += 3;
    } else {
      result += text[i];
    }
  }
  return result;
}

// Takes the first line of a text, and returns it without its end.
std::string_view takenLine(std::string_view& text) {
  const std::size_t end = std::min(text.find('\n'), text.size());
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return line;
}

bool isProcessorName(std::string_view word) {
  return word.starts_with("cpu") && leadingNumber<unsigned>(word.substr(3)).has_value();
}

// Takes a fact that the text repeats for each processor, the first time that it is there.
void takeFirst(std::string_view name, std::string_view value, ProcessorFacts& facts) {
  const auto takeNumber = [&](std::int32_t& member) {
    if (member == 0) {
      member = leadingNumber<std::int32_t>(value).value_or(0);
    }
  };
  if (name == "model name" && facts.brand.empty()) {
    facts.brand = value;
  } else if (name == "vendor_id" && facts.vendor.empty()) {
    facts.vendor = value;
  } else if (name == "cpu cores") {
    takeNumber(facts.coresPerPackage);
  } else if (name == "siblings") {
    takeNumber(facts.threadsPerPackage);
  } else if (name == "cpu MHz" && facts.frequencyHz == 0) {
    facts.frequencyHz = leadingNumber<double>(value).value_or(0) * 1e6;
  }
}

}  // namespace

std::vector<std::string_view> linesOf(std::string_view text) {
  std::vector<std::string_view> lines;
  while (!text.empty()) {
    lines.push_back(takenLine(text));
  }
  return lines;
}

ProcessorFacts processorFactsOf(std::string_view cpuinfo) {
  ProcessorFacts facts;
  std::set<std::string_view> packages;
  for (const std::string_view line : linesOf(cpuinfo)) {
    const auto field = fieldOf(line, ':');
    if (!field) {
      continue;
    }
    const auto& [name, value] = *field;
    if (name == "processor") {
      ++facts.logicalProcessors;
    } else if (name == "physical id") {
      packages.insert(value);
    } else {
      takeFirst(name, value, facts);
    }
  }
  facts.packages = static_cast<std::int32_t>(packages.size());
  if (facts.packages == 0 && facts.logicalProcessors > 0) {
    facts.packages = 1;
  }
  return facts;
}

std::vector<ProcessorTicks> processorTicksOf(std::string_view stat) {
  std::vector<ProcessorTicks> processors;
  for (const std::string_view line : linesOf(stat)) {
    const std::string_view name = line.substr(0, line.find(' '));
    if (!isProcessorName(name)) {
      continue;
    }
    // user nice system idle iowait irq softirq steal; older kernels have fewer.
    auto ticks = numbersOf(line.substr(name.size()));
    if (!ticks || ticks->size() < 4) {
      continue;
    }
    ticks->resize(8);
    const auto& t = *ticks;
    processors.push_back(
        {static_cast<std::uint32_t>(t[0]), static_cast<std::uint32_t>(t[2] + t[5] + t[6] + t[7]),
         static_cast<std::uint32_t>(t[3] + t[4]), static_cast<std::uint32_t>(t[1])});
  }
  return processors;
}

std::optional<std::uint64_t> memorySizeOf(std::string_view meminfo, std::string_view name) {
  while (!meminfo.empty()) {
    std::string_view line = takenLine(meminfo);
    if (!line.starts_with(name) || !line.substr(name.size()).starts_with(':')) {
      continue;
    }
    line = trimmed(line.substr(name.size() + 1));
    const auto number = leadingNumber<std::uint64_t>(line);
    const std::uint64_t unit = line.ends_with("kB") ? 1024 : 1;
    return number ? std::optional(*number * unit) : std::nullopt;
  }
  return std::nullopt;
}

std::vector<InterfaceCounters> interfaceCountersOf(std::string_view netDev) {
  constexpr std::size_t kReceivedColumn = 0;
  constexpr std::size_t kSentColumn = 8;
  std::vector<InterfaceCounters> interfaces;
  for (const std::string_view line : linesOf(netDev)) {
    const auto field = fieldOf(line, ':');
    const auto numbers = field ? numbersOf(field->second) : std::nullopt;
    if (!numbers || numbers->size() <= kSentColumn) {
      continue;
    }
    interfaces.push_back(
        {std::string(field->first), (*numbers)[kReceivedColumn], (*numbers)[kSentColumn]});
  }
  return interfaces;
}

std::vector<Mount> mountsOf(std::string_view mounts) {
  std::vector<Mount> result;
  for (const std::string_view line : linesOf(mounts)) {
    const auto words = wordsOf(line);
    if (words.size() < 3) {
      continue;
    }
    result.push_back(
        {withoutOctalEscapes(words[0]), withoutOctalEscapes(words[1]), std::string(words[2])});
  }
  return result;
}

std::map<std::string, std::string, std::less<>> assignmentsOf(std::string_view text) {
  std::map<std::string, std::string, std::less<>> values;
  for (const std::string_view line : linesOf(text)) {
    const auto field = fieldOf(line, '=');
    if (!field || field->first.starts_with('#')) {
      continue;
    }
    std::string_view value = field->second;
    const bool isQuoted = value.size() >= 2 && value.front() == value.back() &&
                          (value.front() == '"' || value.front() == '\'');
    if (isQuoted) {
      value = value.substr(1, value.size() - 2);
    }
    values.insert_or_assign(std::string(field->first), std::string(value));
  }
  return values;
}

}  // namespace kelvora::platform
