#include "platforms/macos/cocoa/Applications.h"

#include <utility>

#include <AppKit/AppKit.h>

#include "platforms/macos/cocoa/Texts.h"

namespace kelvora::platform::cocoa {

bool launchApplication(const std::string& bundleIdentifier) {
  @autoreleasepool {
    NSString* identifier = foundationText(bundleIdentifier);
    if (identifier == nil) {
      return false;
    }
    NSWorkspace* workspace = NSWorkspace.sharedWorkspace;
    NSURL* application = [workspace URLForApplicationWithBundleIdentifier:identifier];
    if (application == nil) {
      return false;
    }
    [workspace openApplicationAtURL:application
                      configuration:[NSWorkspaceOpenConfiguration configuration]
                  completionHandler:nil];
    return true;
  }
}

void openApplication(const std::string& path,
                     std::function<void(std::optional<std::string>)> completion) {
  @autoreleasepool {
    NSString* text = foundationText(path);
    const auto call = [completion = std::move(completion)](std::optional<std::string> failure) {
      if (completion) {
        completion(std::move(failure));
      }
    };
    if (text.length == 0) {
      call("not a path");
      return;
    }
    [NSWorkspace.sharedWorkspace
        openApplicationAtURL:[NSURL fileURLWithPath:text]
               configuration:[NSWorkspaceOpenConfiguration configuration]
           completionHandler:^(NSRunningApplication*, NSError* error) {
             call(error == nil ? std::nullopt
                               : std::optional(plainText(error.localizedDescription)));
           }];
  }
}

namespace {

RunningApplication recordOf(NSRunningApplication* application) {
  return {application.processIdentifier, plainText(application.bundleIdentifier),
          plainText(application.localizedName)};
}

NSRunningApplication* applicationOf(std::int64_t pid) {
  return [NSRunningApplication runningApplicationWithProcessIdentifier:static_cast<pid_t>(pid)];
}

}  // namespace

std::vector<RunningApplication> runningApplications() {
  @autoreleasepool {
    std::vector<RunningApplication> applications;
    for (NSRunningApplication* application in NSWorkspace.sharedWorkspace.runningApplications) {
      applications.push_back(recordOf(application));
    }
    return applications;
  }
}

std::optional<RunningApplication> runningApplication(std::int64_t pid) {
  @autoreleasepool {
    NSRunningApplication* running = applicationOf(pid);
    return running == nil ? std::nullopt : std::optional(recordOf(running));
  }
}

bool terminate(const RunningApplication& application, bool force) {
  @autoreleasepool {
    NSRunningApplication* running = applicationOf(application.pid);
    // The process may be another application's by now.
    if (running == nil || plainText(running.bundleIdentifier) != application.bundleIdentifier) {
      return false;
    }
    return force ? [running forceTerminate] : [running terminate];
  }
}

}  // namespace kelvora::platform::cocoa
