#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "KelvoraCore/Export.h"
#include "KelvoraCore/PropertyListValue.h"

namespace kelvora {

class Platform;

/// Who owns a file and who may use it.
struct KELVORA_EXPORT KVFileOwnership {
  std::string owner;              ///< account name, e.g. "root"; empty when the account is unknown
  std::string group;              ///< e.g. "admin"; empty likewise
  std::uint32_t permissions = 0;  ///< the twelve permission bits, e.g. 06555
};

/// Where the product's programs and files are. The operations without a platform use the current
/// one.
///
/// The programs are carried beside the running program's executable (the paths with `Src`) and run
/// from the support folder. A path is told whether or not something stands there. Any thread.
class KELVORA_EXPORT KVUtils {
 public:
  /// "/Users/anna/Documents"; none when the system has no such folder.
  static std::optional<std::string> documentsPath();
  static std::optional<std::string> documentsPath(Platform& platform);

  /// "/Users/anna/Library/Application Support/Kelvora", created when it is missing (a failure to is
  /// not told); none when the system has no support folder. So are the three paths in it.
  static std::optional<std::string> applicationSupportPath();
  static std::optional<std::string> applicationSupportPath(Platform& platform);

  /// The folder that the product's programs share, which holds their stored objects:
  /// "/home/anna/.local/share/group.com.kelvora" (on Linux), created when it is missing; none when
  /// the system has none or it cannot be created.
  static std::optional<std::string> groupContainerPath();
  static std::optional<std::string> groupContainerPath(Platform& platform);

  /// The privileged tool: ".../Kelvora SMC".
  static std::optional<std::string> smcExeSrcPath();
  static std::optional<std::string> smcExeSrcPath(Platform& platform);
  static std::optional<std::string> smcExePath();
  static std::optional<std::string> smcExePath(Platform& platform);

  /// The menu-bar application: ".../Kelvora Menu.app".
  static std::optional<std::string> menuAppSrcPath();
  static std::optional<std::string> menuAppSrcPath(Platform& platform);
  static std::optional<std::string> menuAppPath();
  static std::optional<std::string> menuAppPath(Platform& platform);

  /// The helper application: ".../Kelvora Helper.app".
  static std::optional<std::string> helperAppSrcPath();
  static std::optional<std::string> helperAppSrcPath(Platform& platform);
  static std::optional<std::string> helperAppPath();
  static std::optional<std::string> helperAppPath(Platform& platform);

  /// What opening an application came to: whether it was opened, and what went wrong if the system
  /// said.
  using OpenCompletion = std::function<void(bool opened, std::optional<std::string> error)>;

  /// Asks the system to launch the main application, by its bundle identifier, without waiting.
  static void loadMainApp();
  static void loadMainApp(Platform& platform);

  /// Opens the application at a path. Where there is none, and while one with the bundle identifier
  /// runs already, `completion` is called at once, on the calling thread, with false and no error.
  /// Otherwise it is called on the main thread when the system has answered. It may be empty.
  static void openApp(const std::string& bundleIdentifier, const std::string& appPath,
                      OpenCompletion completion);
  static void openApp(const std::string& bundleIdentifier, const std::string& appPath,
                      OpenCompletion completion, Platform& platform);
  /// With `forceRelaunch` ends every running instance first, and blocks until none is left.
  static void openApp(const std::string& bundleIdentifier, const std::string& appPath,
                      bool forceRelaunch, OpenCompletion completion);
  static void openApp(const std::string& bundleIdentifier, const std::string& appPath,
                      bool forceRelaunch, OpenCompletion completion, Platform& platform);

  /// Asks every instance of an application to end, again and again without a pause, until none is
  /// left; then calls `completion` (it may be empty) on the calling thread. An application that
  /// refuses to end blocks it for ever unless `force`.
  static void terminateApp(const std::string& bundleIdentifier, bool force,
                           const std::function<void()>& completion);
  static void terminateApp(const std::string& bundleIdentifier, bool force,
                           const std::function<void()>& completion, Platform& platform);
  /// Asks every instance once, politely or by `force`, and does not wait.
  static void terminateApp(const std::string& bundleIdentifier, bool force);
  static void terminateApp(const std::string& bundleIdentifier, bool force, Platform& platform);

  /// Whether at least one application with the bundle identifier runs.
  static bool isAppRunning(const std::string& bundleIdentifier);
  static bool isAppRunning(const std::string& bundleIdentifier, Platform& platform);

  /// "CFBundleVersion" of an application as a whole number, e.g. 412; 0 where there is no
  /// application or no version.
  static std::int64_t appBuildNumberAtPath(const std::string& path);
  static std::int64_t appBuildNumberAtPath(const std::string& path, Platform& platform);
  /// The same of the running program.
  static std::int64_t appBuildNumber();
  static std::int64_t appBuildNumber(Platform& platform);

  /// Whether the installed privileged tool (`smcExePath`) belongs to the accounts "root" and
  /// "admin" and has exactly the mode 6555, so that whoever starts it writes to the SMC as root.
  /// False also when it is not installed.
  static bool isSMCPermissionGranted();
  static bool isSMCPermissionGranted(Platform& platform);
  /// Owner and permissions of the installed privileged tool (`smcExePath`), for a host that
  /// explains why its permission is missing; none when it is not installed or may not be looked at.
  static std::optional<KVFileOwnership> smcExeOwnership();
  static std::optional<KVFileOwnership> smcExeOwnership(Platform& platform);

  /// Whether some active display is not built in.
  static bool isExternalDisplayConnected();
  static bool isExternalDisplayConnected(Platform& platform);
  /// How many displays are active.
  static std::int64_t numOfDisplays();
  static std::int64_t numOfDisplays(Platform& platform);

  /// Tells every program of the user's session, this one included, by a notification without a
  /// sender object on the distributed notification centre. Posted later, from the main thread, to
  /// be delivered at once: a host that does not run its main queue sends nothing.
  static void broadcastNotification(const std::string& name);
  static void broadcastNotification(const std::string& name, Platform& platform);
  /// The same with a user info, e.g. {"KVFanValueTypeKey": 1}.
  static void broadcastNotification(const std::string& name,
                                    PropertyListValue::Dictionary userInfo);
  static void broadcastNotification(const std::string& name, PropertyListValue::Dictionary userInfo,
                                    Platform& platform);
};

}  // namespace kelvora
