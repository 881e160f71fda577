#include "tools/kelvora/HelpText.h"

#include <algorithm>
#include <sstream>
#include <vector>

#include "tools/kelvora/Text.h"

namespace kelvora::tool {

namespace {

// Where CLI11 puts the descriptions of options and commands.
constexpr std::size_t kDescription = 30;
constexpr std::size_t kLeastWidth = 20;

std::string fittedLine(const std::string& line, std::size_t columns) {
  if (displayWidth(line) <= columns) {
    return line + "\n";
  }
  const bool isDescribed =
      line.size() > kDescription && line.starts_with("  ") && line[kDescription - 1] == ' ';
  const std::size_t indent = isDescribed ? kDescription : 0;
  const std::size_t width = std::max(kLeastWidth, columns - std::min(indent, columns));
  std::string text = line.substr(0, indent);
  for (const std::string& part : wrapped(line.substr(indent), width)) {
    text += (text.size() > indent ? std::string(indent, ' ') : "") + part + "\n";
  }
  return text;
}

}  // namespace

// CLI11 leaves two empty lines before the examples of some commands.
std::string fittedHelp(const std::string& help, std::size_t columns) {
  std::istringstream lines(help);
  std::string text;
  bool wasEmpty = false;
  for (std::string line; std::getline(lines, line);) {
    if (!line.empty() || !wasEmpty) {
      text += columns == 0 ? line + "\n" : fittedLine(line, columns);
    }
    wasEmpty = line.empty();
  }
  return text;
}

}  // namespace kelvora::tool
