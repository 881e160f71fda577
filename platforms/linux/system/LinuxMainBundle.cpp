#include "platforms/linux/system/LinuxMainBundle.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <span>
#include <sstream>
#include <utility>

#include <unistd.h>

#include "base/UserLocale.h"
#include "platforms/linux/processes/ApplicationBundle.h"
#include "platforms/linux/system/LinuxFiles.h"
#include "platforms/posix/ProcessExecutable.h"
#include "platforms/posix/ResourceFolders.h"

namespace kelvora::platform {

namespace {

constexpr const char* kDevelopmentLanguage = "en";

std::string environmentText(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? "" : value;
}

// LANGUAGE is a list and counts only where a locale other than "C" is chosen at all.
std::vector<std::string> environmentLanguages() {
  std::string locale;
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    if (locale.empty()) {
      locale = environmentText(name);
    }
  }
  std::vector<std::string> languages;
  if (!isPlainLocale(locale)) {
    std::istringstream list(environmentText("LANGUAGE"));
    for (std::string language; std::getline(list, language, ':');) {
      languages.push_back(language);
    }
  }
  languages.push_back(locale);
  return languages;
}

// "zh_Hant_TW" gives "zh", "Hant" and "TW".
std::vector<std::string> partsOf(const std::string& locale) {
  std::vector<std::string> parts;
  for (std::size_t start = 0; start <= locale.size();) {
    const std::size_t end = std::min(locale.find_first_of("_-", start), locale.size());
    parts.push_back(locale.substr(start, end - start));
    start = end + 1;
  }
  return parts;
}

// The localisations of Chinese differ by script. A locale that names none means that of its
// territory.
std::string chineseCode(const std::vector<std::string>& parts) {
  for (const std::string& part : parts) {
    if (part == "Hans" || part == "Hant") {
      return "zh-" + part;
    }
  }
  const bool isTraditional = std::ranges::any_of(
      parts, [](const std::string& part) { return part == "TW" || part == "HK" || part == "MO"; });
  return isTraditional ? "zh-Hant" : "zh-Hans";
}

std::string joined(std::span<const std::string> parts, char separator) {
  std::string name;
  for (const std::string& part : parts) {
    name += name.empty() ? part : separator + part;
  }
  return name;
}

// Codes that a locale name may mean, the closest first: "pt_BR.UTF-8" gives "pt-BR", "pt_BR"
// and "pt".
std::vector<std::string> candidates(std::string name) {
  name = name.substr(0, name.find_first_of(".@"));
  if (name.empty() || isPlainLocale(name)) {
    return {};
  }
  const std::vector<std::string> parts = partsOf(name);
  if (parts.front() == "zh") {
    return {chineseCode(parts)};
  }
  std::vector<std::string> codes;
  for (std::size_t count = parts.size(); count > 0; --count) {
    const auto first = std::span(parts).first(count);
    codes.push_back(joined(first, '-'));
    codes.push_back(joined(first, '_'));
  }
  return codes;
}

bool contains(const std::vector<std::string>& texts, const std::string& text) {
  return std::find(texts.begin(), texts.end(), text) != texts.end();
}

}  // namespace

std::vector<std::string> matchedLocalizations(const std::vector<std::string>& languages,
                                              const std::vector<std::string>& available) {
  std::vector<std::string> matches;
  const auto addFirstAvailable = [&](const std::vector<std::string>& codes) {
    for (const std::string& code : codes) {
      if (!contains(available, code)) {
        continue;
      }
      if (!contains(matches, code)) {
        matches.push_back(code);
      }
      return;
    }
  };
  for (const std::string& language : languages) {
    addFirstAvailable(candidates(language));
  }
  addFirstAvailable({kDevelopmentLanguage});
  if (matches.empty()) {
    matches.emplace_back(kDevelopmentLanguage);
  }
  return matches;
}

LinuxMainBundle::LinuxMainBundle() : LinuxMainBundle(executableOf(getpid())) {}

LinuxMainBundle::LinuxMainBundle(std::string executablePath)
    : executablePath_(std::move(executablePath)),
      resourceFolders_(resourceFoldersOf(executablePath_)) {}

std::string LinuxMainBundle::executablePath() { return executablePath_; }

std::optional<std::string> LinuxMainBundle::resourcePath(std::string_view name,
                                                         std::string_view type) {
  if (name.empty()) {
    return std::nullopt;
  }
  std::string file(name);
  if (!type.empty()) {
    file.append(".").append(type);
  }
  for (const std::string& folder : resourceFolders_) {
    std::string path = std::string(folder).append("/").append(file);
    if (LinuxFiles().exists(path)) {
      return path;
    }
  }
  if (!type.empty()) {
    missing_.log(file, type, resourceFolders_);
  }
  return std::nullopt;
}

std::vector<std::string> LinuxMainBundle::resourceFolders() { return resourceFolders_; }

std::vector<std::string> LinuxMainBundle::preferredLocalizations() {
  return matchedLocalizations(environmentLanguages(), localizationsIn(resourceFolders_));
}

std::optional<PropertyListValue::Dictionary> LinuxMainBundle::informationDictionary(
    const std::string& bundlePath) {
  const auto bundle =
      bundlePath.empty() ? applicationOfExecutable(executablePath_) : applicationAt(bundlePath);
  return bundle ? std::optional(bundle->information) : std::nullopt;
}

}  // namespace kelvora::platform
