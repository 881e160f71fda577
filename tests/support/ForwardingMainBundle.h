#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ports/MainBundle.h"

namespace kelvora::testing {

/// A main bundle that forwards, except for what a test sets.
class ForwardingMainBundle : public platform::MainBundle {
 public:
  explicit ForwardingMainBundle(std::unique_ptr<platform::MainBundle> port)
      : behind(std::move(port)) {}
  std::string executablePath() override {
    return onExecutablePath ? onExecutablePath() : behind->executablePath();
  }
  std::optional<std::string> resourcePath(std::string_view name, std::string_view type) override {
    return onResourcePath ? onResourcePath(name, type) : behind->resourcePath(name, type);
  }
  std::vector<std::string> preferredLocalizations() override {
    return localizations ? *localizations : behind->preferredLocalizations();
  }
  std::optional<PropertyListValue::Dictionary> informationDictionary(
      const std::string& bundlePath) override {
    return behind->informationDictionary(bundlePath);
  }
  std::unique_ptr<platform::MainBundle> behind;
  std::optional<std::vector<std::string>> localizations;
  std::function<std::string()> onExecutablePath;
  std::function<std::optional<std::string>(std::string_view, std::string_view)> onResourcePath;
};

}  // namespace kelvora::testing
