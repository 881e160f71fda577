#pragma once

#include <optional>
#include <string>

#include "KelvoraCore/PropertyListValue.h"

namespace kelvora {

namespace platform {
class Platform;
}

/// Where the product's programs and files are. The operations without a platform use the current
/// one.
///
/// The programs are carried beside the running program's executable (the paths with `Src`) and run
/// from the support folder. A path is told whether or not something stands there. Any thread.
class KVUtils {
 public:
  /// "/Users/anna/Documents"; none when the system has no such folder.
  static std::optional<std::string> documentsPath();
  static std::optional<std::string> documentsPath(platform::Platform& platform);

  /// "/Users/anna/Library/Application Support/Kelvora", created when it is missing (a failure to is
  /// not told); none when the system has no support folder. So are the three paths in it.
  static std::optional<std::string> applicationSupportPath();
  static std::optional<std::string> applicationSupportPath(platform::Platform& platform);

  /// The privileged tool: ".../Kelvora SMC".
  static std::optional<std::string> smcExeSrcPath();
  static std::optional<std::string> smcExeSrcPath(platform::Platform& platform);
  static std::optional<std::string> smcExePath();
  static std::optional<std::string> smcExePath(platform::Platform& platform);

  /// The menu-bar application: ".../Kelvora Menu.app".
  static std::optional<std::string> menuAppSrcPath();
  static std::optional<std::string> menuAppSrcPath(platform::Platform& platform);
  static std::optional<std::string> menuAppPath();
  static std::optional<std::string> menuAppPath(platform::Platform& platform);

  /// The helper application: ".../Kelvora Helper.app".
  static std::optional<std::string> helperAppSrcPath();
  static std::optional<std::string> helperAppSrcPath(platform::Platform& platform);
  static std::optional<std::string> helperAppPath();
  static std::optional<std::string> helperAppPath(platform::Platform& platform);

  /// Tells every program of the user's session, this one included, by a notification without a
  /// sender object on the distributed notification centre. Posted later, from the main thread, to
  /// be delivered at once: a host that does not run its main queue sends nothing.
  static void broadcastNotification(const std::string& name);
  static void broadcastNotification(const std::string& name, platform::Platform& platform);
  /// The same with a user info, e.g. {"KVFanValueTypeKey": 1}.
  static void broadcastNotification(const std::string& name,
                                    PropertyListValue::Dictionary userInfo);
  static void broadcastNotification(const std::string& name, PropertyListValue::Dictionary userInfo,
                                    platform::Platform& platform);
};

}  // namespace kelvora
