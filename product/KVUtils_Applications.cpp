#include <utility>

#include "KelvoraCore/KVBundleIdentifiers.h"
#include "KelvoraCore/KVUtils.h"

#include "ports/Ports.h"

namespace kelvora {

namespace {

std::vector<platform::RunningApplication> instancesOf(const std::string& bundleIdentifier,
                                                      Platform& platform) {
  if (bundleIdentifier.empty()) {
    return {};  // applications without an identifier are not instances of one another
  }
  auto applications = platform.workspace().runningApplications();
  std::erase_if(applications, [&](const platform::RunningApplication& application) {
    return application.bundleIdentifier != bundleIdentifier;
  });
  return applications;
}

std::int64_t buildNumber(const std::string& bundlePath, Platform& platform) {
  const auto information = platform.mainBundle().informationDictionary(bundlePath);
  if (!information) {
    return 0;
  }
  const auto found = information->find("CFBundleVersion");
  return found == information->end() ? 0 : found->second.integerValue();
}

}  // namespace

void KVUtils::loadMainApp(Platform& platform) {
  platform.workspace().launchApplication(kMainAppBundleIdentifier);
}

void KVUtils::openApp(const std::string& bundleIdentifier, const std::string& appPath,
                      OpenCompletion completion, Platform& platform) {
  if (!platform.files().exists(appPath) || isAppRunning(bundleIdentifier, platform)) {
    if (completion) {
      completion(false, std::nullopt);
    }
    return;
  }
  platform.workspace().openApplication(appPath, [&platform, done = std::move(completion)](
                                                    const std::optional<std::string>& failure) {
    if (done) {
      platform.mainQueue().async([done, failure] { done(!failure, failure); });
    }
  });
}

void KVUtils::openApp(const std::string& bundleIdentifier, const std::string& appPath,
                      bool forceRelaunch, OpenCompletion completion, Platform& platform) {
  if (!forceRelaunch) {
    openApp(bundleIdentifier, appPath, std::move(completion), platform);
    return;
  }
  constexpr bool kForce = true;
  terminateApp(
      bundleIdentifier, kForce,
      [&] { openApp(bundleIdentifier, appPath, std::move(completion), platform); }, platform);
}

void KVUtils::terminateApp(const std::string& bundleIdentifier, bool force,
                           const std::function<void()>& completion, Platform& platform) {
  while (isAppRunning(bundleIdentifier, platform)) {
    terminateApp(bundleIdentifier, force, platform);
  }
  if (completion) {
    completion();
  }
}

void KVUtils::terminateApp(const std::string& bundleIdentifier, bool force, Platform& platform) {
  for (const platform::RunningApplication& instance : instancesOf(bundleIdentifier, platform)) {
    platform.workspace().terminate(instance, force);
  }
}

bool KVUtils::isAppRunning(const std::string& bundleIdentifier, Platform& platform) {
  return !instancesOf(bundleIdentifier, platform).empty();
}

std::int64_t KVUtils::appBuildNumberAtPath(const std::string& path, Platform& platform) {
  return path.empty() ? 0 : buildNumber(path, platform);
}

std::int64_t KVUtils::appBuildNumber(Platform& platform) { return buildNumber("", platform); }

}  // namespace kelvora
