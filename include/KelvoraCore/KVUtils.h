#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "KelvoraCore/Export.h"
#include "KelvoraCore/KVExtension.h"
#include "KelvoraCore/Platform.h"
#include "KelvoraCore/PropertyListValue.h"

namespace kelvora {

/// Who owns a file and who may use it.
struct KELVORA_EXPORT KVFileOwnership {
  std::string owner;              ///< account name, e.g. "root"; empty when the account is unknown
  std::string group;              ///< e.g. "admin"; empty likewise
  std::uint32_t permissions = 0;  ///< the twelve permission bits, e.g. 06555
};

/// The series of a sensor's history. Stored: never renumber them.
enum KVGraphTimeRange : std::int16_t {
  KVGraphTimeRangeHour = 0,
  KVGraphTimeRangeDay = 1,
  KVGraphTimeRangeWeek = 2,
};

/// A mark on the time axis of a graph.
struct KELVORA_EXPORT KVAxisTick {
  double time = 0;    ///< seconds since 1970
  std::string label;  ///< "14:05", or "3/07" for a week
  friend bool operator==(const KVAxisTick&, const KVAxisTick&) = default;
};

/// Where the product's programs and files are, and how a program starts, stops and notifies the
/// other programs.
///
/// The programs are shipped beside the running program's executable (the paths with `Src`) and run
/// from the support folder. Each path is returned even if nothing exists there. Any thread.
class KELVORA_EXPORT KVUtils {
 public:
  /// "/Users/anna/Documents"; none when the system has no such folder.
  static std::optional<std::string> documentsPath(Platform& platform = Platform::current());

  /// "/Users/anna/Library/Application Support/Kelvora", created when it is missing (a failure to
  /// create it is ignored); none when the system has no support folder. The three paths in this
  /// folder behave the same.
  static std::optional<std::string> applicationSupportPath(
      Platform& platform = Platform::current());

  /// The folder that the product's programs share, which holds their stored objects:
  /// "/home/anna/.local/share/group.com.kelvora" (on Linux), created when it is missing; none when
  /// the system has none or it cannot be created.
  static std::optional<std::string> groupContainerPath(Platform& platform = Platform::current());

  /// The paths of the same two folders, without creating them.
  static std::optional<std::string> applicationSupportLocation(
      Platform& platform = Platform::current());
  static std::optional<std::string> groupContainerLocation(
      Platform& platform = Platform::current());

  /// Creates an empty file for the user, e.g. a log, and the folders above it, with the permissions
  /// that the user's programs give; does nothing if something exists. What root creates belongs to
  /// the owner of the folder it is in. Returns the system's error if nothing exists then.
  static std::error_code createFile(const std::string& path);

  /// The privileged tool: ".../Kelvora SMC".
  static std::optional<std::string> smcExeSrcPath(Platform& platform = Platform::current());
  static std::optional<std::string> smcExePath(Platform& platform = Platform::current());

  /// The program that guards the fans of a `KVFanLease`, shipped beside the running program and run
  /// from there: ".../Kelvora Guardian".
  static std::optional<std::string> fanGuardianPath(Platform& platform = Platform::current());

  /// The menu-bar application: ".../Kelvora Menu.app".
  static std::optional<std::string> menuAppSrcPath(Platform& platform = Platform::current());
  static std::optional<std::string> menuAppPath(Platform& platform = Platform::current());

  /// The helper application: ".../Kelvora Helper.app".
  static std::optional<std::string> helperAppSrcPath(Platform& platform = Platform::current());
  static std::optional<std::string> helperAppPath(Platform& platform = Platform::current());

  /// The result of opening an application: whether it was opened, and the system's description of
  /// the error if there was one.
  using OpenCompletion = std::function<void(bool opened, std::optional<std::string> error)>;

  /// Asks the system to launch the main application by its bundle identifier.
  static void loadMainApp(Platform& platform = Platform::current());

  /// Opens the application at a path. If nothing exists there, or an application with the bundle
  /// identifier already runs, calls `completion` at once, on the calling thread, with false and no
  /// error. Otherwise calls it on the main thread when the system has answered. `completion` may be
  /// empty.
  static void openApp(const std::string& bundleIdentifier, const std::string& appPath,
                      OpenCompletion completion, Platform& platform = Platform::current());
  /// With `forceRelaunch` ends every running instance first, and blocks until none runs.
  static void openApp(const std::string& bundleIdentifier, const std::string& appPath,
                      bool forceRelaunch, OpenCompletion completion,
                      Platform& platform = Platform::current());

  /// Repeatedly asks every instance of an application to end, without pausing, until none runs;
  /// then calls `completion` (it may be empty) on the calling thread. Blocks forever if an
  /// application refuses to end, unless `force` is set.
  static void terminateApp(const std::string& bundleIdentifier, bool force,
                           const std::function<void()>& completion,
                           Platform& platform = Platform::current());
  /// Asks every instance once (or kills it with `force`) and does not wait.
  static void terminateApp(const std::string& bundleIdentifier, bool force,
                           Platform& platform = Platform::current());

  /// Whether at least one application with the bundle identifier runs.
  static bool isAppRunning(const std::string& bundleIdentifier,
                           Platform& platform = Platform::current());

  /// "CFBundleVersion" of the application at a path as a whole number, e.g. 412; 0 if there is no
  /// application or no version.
  static std::int64_t appBuildNumberAtPath(const std::string& path,
                                           Platform& platform = Platform::current());
  /// The same for the running program.
  static std::int64_t appBuildNumber(Platform& platform = Platform::current());

  /// Whether the installed privileged tool (`smcExePath`) belongs to the accounts "root" and
  /// "admin" and has exactly the mode 6555, so that whoever starts it writes to the SMC as root.
  /// False also when it is not installed, and for anything but a file, e.g. a symbolic link.
  static bool isSMCPermissionGranted(Platform& platform = Platform::current());

  /// The result of a request for the permission: whether it is granted. No error is reported; a
  /// refusal only sets `granted` to false.
  using PermissionCompletion = std::function<void(bool granted, std::optional<std::string> error)>;

  /// Installs the privileged tool and gives it its rights, on a thread of its own. Copies
  /// `smcExeSrcPath` to `smcExePath` if nothing is installed yet; a tool that is there is never
  /// replaced. When the permission is not granted already, asks the user to authorise as an
  /// administrator and starts chown and chmod as root. Then calls `completion` (it may be empty)
  /// later, on the main thread: a host that does not run its main queue never gets the call.
  ///
  /// `granted` says that chmod was started. To be certain, call `isSMCPermissionGranted` a moment
  /// later. Not granted when the user refuses, when a command cannot be started, on a recorded Mac
  /// (whose tool is copied all the same), and when a folder, a symbolic link or a file with hard
  /// links is in place of the tool. Nothing is logged. `platform` must live until `completion` was
  /// called.
  static void requestSMCPermission(PermissionCompletion completion,
                                   Platform& platform = Platform::current());

  /// Owner and permissions of the installed privileged tool (`smcExePath`), so that a host can
  /// explain why the permission is missing; none when it is not installed or may not be examined.
  static std::optional<KVFileOwnership> smcExeOwnership(Platform& platform = Platform::current());

  /// Whether at least one active display is not built in.
  static bool isExternalDisplayConnected(Platform& platform = Platform::current());
  /// How many displays are active.
  static std::int64_t numOfDisplays(Platform& platform = Platform::current());

  /// Posts a notification without a sender object on the distributed notification centre, so that
  /// every program of the user's session hears it, this one included. The post happens later, on
  /// the main thread: a host that does not run its main queue sends nothing.
  static void broadcastNotification(const std::string& name,
                                    Platform& platform = Platform::current());
  /// The same with a user info, e.g. {"KVFanValueTypeKey": 1}.
  static void broadcastNotification(const std::string& name, PropertyListValue::Dictionary userInfo,
                                    Platform& platform = Platform::current());

  /// The time axis of a graph that ends at `currentDate`, oldest tick first: 7 ticks ten minutes
  /// apart for an hour, 7 ticks four hours apart for a day, and for any other range, the week, 8
  /// ticks 24 hours apart. Labels are in the time zone of KVExtension::dateFormatter().
  static std::vector<KVAxisTick> xAxisWithCurrentDate(KVExtension::Date currentDate,
                                                      std::int64_t timeRange);
};

}  // namespace kelvora
