#pragma once

#include <memory>
#include <string>

#include "KelvoraCore/KVSettings.h"

#include "ports/Ports.h"
#include "tests/support/ForwardingCentres.h"
#include "tests/support/ForwardingMainBundle.h"
#include "tests/support/ForwardingPorts.h"
#include "tests/support/MainQueueLoop.h"
#include "tests/support/MemoryUserDefaults.h"
#include "tests/support/RecordedMachines.h"
#include "tests/support/TemporaryFolder.h"

namespace kelvora::testing {

/// A Mac for tests that do not care which: settings in memory, notices in the process, resources in
/// a scratch folder ("de.lproj/Localizable.strings" and so on), English preferred.
struct TestMac {
  TestMac() {
    bundle.localizations = {{"en"}};
    bundle.onResourcePath = [this](std::string_view name, std::string_view type) {
      const std::string path = resources.path(std::string(name) + "." + std::string(type));
      return platform->files().exists(path) ? std::optional(path) : std::nullopt;
    };
  }

  /// Puts a table of texts for a language among the resources.
  void addStrings(const std::string& language, std::string_view content) const {
    resources.write(language + ".lproj/Localizable.strings", content);
  }
  void setInterfaceStyle(std::optional<PropertyListValue> style) const {
    dynamic_cast<platform::MemoryUserDefaults&>(platform->userDefaults())
        .setGlobalObject("AppleInterfaceStyle", std::move(style));
  }
  /// Runs the main queue dry.
  void runMainQueue() const { runDry(platform->mainQueue()); }

  TemporaryFolder resources;
  std::unique_ptr<Platform> platform = recordedPlatform(recordedMachine("Macmini8,1"));
  ForwardingMainBundle& bundle = wrapPort<ForwardingMainBundle>(platform->ports().mainBundle);
  ForwardingCentres& centres = wrapPort<ForwardingCentres>(platform->ports().notificationCentres);
  KVSettings settings{*platform};
};

}  // namespace kelvora::testing
