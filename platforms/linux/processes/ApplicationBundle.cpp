#include "platforms/linux/processes/ApplicationBundle.h"

#include <filesystem>
#include <system_error>

#include "base/PropertyListFile.h"

namespace kelvora::platform {

namespace {

namespace fs = std::filesystem;

struct Layout {
  const char* information;
  const char* executables;
};

constexpr Layout kLayouts[] = {{"Contents/Info.plist", "Contents/MacOS"}, {"Info.plist", ""}};

std::optional<ApplicationBundle> applicationIn(const fs::path& folder, const Layout& layout) {
  std::error_code error;
  if (!fs::is_regular_file(folder / layout.information, error)) {
    return std::nullopt;
  }
  const PropertyListReading reading = readPropertyListFile(folder / layout.information);
  const auto* values = reading.value ? reading.value->as<PropertyListValue::Dictionary>() : nullptr;
  if (values == nullptr) {
    return std::nullopt;
  }
  ApplicationBundle bundle{folder.string(), *values, ""};
  // A name, never a way out of the folder.
  const std::string executable = bundle.text("CFBundleExecutable");
  if (!executable.empty() && executable.find('/') == std::string::npos) {
    bundle.executablePath = (folder / layout.executables / executable).string();
  }
  return bundle;
}

}  // namespace

std::string ApplicationBundle::text(const std::string& key) const {
  const auto found = information.find(key);
  const auto* value = found == information.end() ? nullptr : found->second.as<std::string>();
  return value == nullptr ? std::string() : *value;
}

std::string ApplicationBundle::name() const {
  const std::string name = text("CFBundleName");
  return name.empty() ? fs::path(path).stem().string() : name;
}

std::optional<ApplicationBundle> applicationAt(const std::string& path) {
  fs::path folder(path);
  if (folder.filename().empty()) {
    folder = folder.parent_path();
  }
  for (const Layout& layout : kLayouts) {
    if (auto bundle = applicationIn(folder, layout)) {
      return bundle;
    }
  }
  return std::nullopt;
}

std::optional<ApplicationBundle> applicationOfExecutable(const std::string& executablePath) {
  const fs::path folder = fs::path(executablePath).parent_path();
  const bool nested = folder.filename() == "MacOS" && folder.parent_path().filename() == "Contents";
  auto bundle =
      applicationAt(nested ? folder.parent_path().parent_path().string() : folder.string());
  return bundle && bundle->executablePath == executablePath ? bundle : std::nullopt;
}

}  // namespace kelvora::platform
