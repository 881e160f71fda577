#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "KelvoraCore/Export.h"

namespace kelvora {

namespace platform {
class Authorization;
class ChildProcesses;
class Files;
class HIDEventSystem;
class HostStatistics;
class IORegistry;
class MainBundle;
class MainQueue;
class NotificationCentres;
class SMCUserClient;
class SystemControls;
class SystemFacts;
class UserDefaults;
class Workspace;
struct Ports;
}  // namespace platform

/// Which of the library's two builds a machine is for.
enum class Architecture : std::uint8_t { kIntel, kAppleSilicon };

/// The field's name of an architecture: "x86_64" or "arm64". Any thread.
KELVORA_EXPORT const char* architectureName(Architecture architecture);

/// The description of a platform.
struct KELVORA_EXPORT PlatformIdentity {
  std::string title;  ///< shown with every reading, e.g. "MacBook Pro 15-inch 2018"; UTF-8
  bool isLive = false;
  Architecture architecture = Architecture::kIntel;
};

/// A recorded Mac that comes with the program or with the installation of the library.
struct KELVORA_EXPORT RecordedMac {
  std::string name;   ///< the Mac's model identifier, e.g. "iMac19,1"
  std::string path;   ///< of its machine file
  std::string title;  ///< e.g. "iMac 27-inch 2019"; UTF-8
  std::string notes;  ///< what is special about it; may be empty; UTF-8
  Architecture architecture = Architecture::kIntel;
};

/// A write that the SMC of a recorded Mac took.
struct KELVORA_EXPORT RecordedWrite {
  std::string key;    ///< e.g. "F0Tg"; bytes that are not ASCII as the characters U+0080 to U+00FF
  std::string bytes;  ///< hexadecimal, as many as the key holds, e.g. "0000fa44"
  friend bool operator==(const RecordedWrite&, const RecordedWrite&) = default;
};

/// The recorded Mac that the account has chosen for all its programs.
struct KELVORA_EXPORT ChosenMac {
  std::string file;  ///< that holds the choice, e.g. "/home/anna/.local/share/Kelvora/Machine.json"
  std::string name;  ///< what was chosen: "iMac19,1", or the path of a machine file; UTF-8
  std::string title;  ///< e.g. "iMac 27-inch 2019"; UTF-8
  std::string notes;  ///< as of RecordedMac
  Architecture architecture = Architecture::kIntel;
  std::vector<RecordedWrite> writes;  ///< oldest first; of old ones only the last of each key
};

/// A machine file that cannot be used, or a machine that does not exist. `what()` is one line: the
/// file, the place in it and the fault, e.g. "mac.json: /smc/keys/3/bytes: 'zz' is not
/// hexadecimal".
class KELVORA_EXPORT MachineFileError : public std::runtime_error {
 public:
  /// `place` may be empty.
  MachineFileError(const std::string& file, const std::string& place, const std::string& fault);

  /// The file, or the name that was given for it, e.g. "mac.json".
  const std::string& file() const { return file_; }
  /// A JSON pointer ("/smc/keys/3/bytes"; "/" is the whole file), or "line 3, column 7" where the
  /// file is not JSON; empty where the fault is not in the file.
  const std::string& place() const { return place_; }
  /// E.g. "'zz' is not hexadecimal".
  const std::string& fault() const { return fault_; }

 private:
  std::string file_;
  std::string place_;
  std::string fault_;
};

/// The machine that the library works on: this computer or a recorded Mac. A class that takes a
/// platform keeps a reference, so the platform must outlive its objects. Any thread, unless an
/// operation says otherwise.
///
/// The process has one current platform: the one that was installed before the first use, else the
/// recorded Mac that the environment variable KELVORA_MACHINE names, else this computer if it has
/// an SMC or HID temperature sensors, else the recorded Mac that the account has chosen, else this
/// computer.
///
/// A recorded Mac has recorded hardware and system facts. Its files, settings,
/// notifications, resources and main queue are those of this computer.
class KELVORA_EXPORT Platform {
 public:
  /// This computer: the system that the library was built for. Never null. Throws std::system_error
  /// where the system has no descriptors left; so do the operations that make a recorded Mac.
  static std::unique_ptr<Platform> live();

  // Recorded Macs. All throw MachineFileError, and log nothing. `host` is the live platform whose
  // files, settings, notifications and main queue the recorded Mac uses; without one a new live
  // platform is made. It is consumed even if the operation throws.

  /// The recorded Mac that `machine` names: a name of `recordedMacs()` in any case ("imac19,1"),
  /// else a machine file.
  static std::unique_ptr<Platform> recorded(std::string_view machine,
                                            std::unique_ptr<Platform> host = nullptr);
  /// The recorded Mac of a machine file. The file may be a pipe; it is read to its end.
  static std::unique_ptr<Platform> recordedFromFile(const std::string& path,
                                                    std::unique_ptr<Platform> host = nullptr);
  /// The recorded Mac of a machine file's bytes. In errors `name` is the file.
  static std::unique_ptr<Platform> recordedFromBytes(std::span<const std::byte> bytes,
                                                     const std::string& name,
                                                     std::unique_ptr<Platform> host = nullptr);
  /// The recorded Macs in the folder "machines" of the program's resources, sorted by name; empty
  /// when there are none. Each file is read: throws MachineFileError for the first bad one.
  static std::vector<RecordedMac> recordedMacs();

  /// The recorded Mac that the environment variable KELVORA_MACHINE names, as `recorded` takes it.
  /// Null when the variable is unset or empty, and in a program with raised rights (set-user-id,
  /// say), which ignores it. Throws MachineFileError; its text starts with "KELVORA_MACHINE: ".
  static std::unique_ptr<Platform> fromEnvironment();

  // The account's choice: a recorded Mac that all programs of the account share. It is a copy of
  // the machine in a file of the support folder, together with what was written to its SMC: what
  // one program writes is read by the others at once. A program with raised rights has none. The
  // operations throw MachineFileError, whose file is that of the choice unless `choose` was given a
  // bad machine, and log nothing. Any thread, any number of processes.

  /// The chosen recorded Mac; null when none is chosen. `host` is used as by `recorded`, also when
  /// the result is null. Throws when the choice is damaged, unreadable, a symbolic link, or not the
  /// account's own.
  ///
  /// The product's own programs, the privileged tool and the guardian, are really started by this
  /// platform. Its SMC looks for changes of the file in each call, and fails with kIOReturnNoDevice
  /// (0xe00002c0) when another machine is chosen, or none.
  static std::unique_ptr<Platform> chosen(std::unique_ptr<Platform> host = nullptr);
  /// What is chosen; none when nothing is. Throws like `chosen`. Changes nothing.
  static std::optional<ChosenMac> choice();
  /// Chooses the recorded Mac that `machine` names, as `recorded` takes it, in the state in which
  /// it was recorded; replaces a choice that was there, usable or not. Throws when there is no such
  /// machine, and when the choice cannot be stored; then the earlier choice stays.
  static void choose(std::string_view machine);
  /// Removes the choice, usable or not; does nothing without one. Waits, for a limited time, for a
  /// program that is writing to it. Throws when the file cannot be removed.
  static void chooseNone();
  /// Where a choice is kept, even before one is made; none without a support folder. Creates
  /// nothing.
  static std::optional<std::string> choiceFile();

  /// The process's platform, created on first use and never destroyed. When `fromEnvironment` or
  /// `chosen` throws, its text is logged, and the platform is a recorded Mac without any hardware,
  /// whose title is that text; never this computer.
  static Platform& current();
  /// Makes `platform` the current one. Throws std::logic_error once a platform is current.
  static void install(std::unique_ptr<Platform> platform);
  /// Whether this is the process's current platform. Creates none.
  bool isCurrent() const;

  /// A platform of the library's own ports; every member of `ports` must be set.
  Platform(PlatformIdentity identity, platform::Ports ports);
  ~Platform();
  Platform(const Platform&) = delete;
  Platform& operator=(const Platform&) = delete;

  /// Shown with every reading, e.g. "MacBook Pro 15-inch 2018". UTF-8.
  const std::string& title() const { return identity_.title; }
  /// Whether readings come from this computer's hardware, not from a recording.
  bool isLive() const { return identity_.isLive; }
  /// Which of the library's two builds reads this machine.
  Architecture architecture() const { return identity_.architecture; }
  /// Whether the machine has an SMC or HID temperature sensors, so that a reading can find
  /// anything. Asks the hardware each time; logs nothing.
  bool hasSensorHardware() const;

  // The ports, one for each capability of the system, for the library's own classes. Their
  // interfaces are not installed. Owned by the platform.

  platform::SMCUserClient& smc() const;
  platform::HIDEventSystem& hid() const;
  platform::IORegistry& registry() const;
  platform::SystemControls& systemControls() const;
  platform::HostStatistics& hostStatistics() const;
  platform::SystemFacts& systemFacts() const;
  platform::ChildProcesses& childProcesses() const;
  platform::Workspace& workspace() const;
  platform::Authorization& authorization() const;
  platform::Files& files() const;
  platform::MainBundle& mainBundle() const;
  platform::UserDefaults& userDefaults() const;
  platform::NotificationCentres& notificationCentres() const;
  platform::MainQueue& mainQueue() const;
  /// The ports themselves, for replacing one before the platform is used.
  platform::Ports& ports() { return *ports_; }

 private:
  static std::unique_ptr<Platform> initial();
  static std::unique_ptr<Platform> liveOrChosen();

  PlatformIdentity identity_;
  std::unique_ptr<platform::Ports> ports_;
};

}  // namespace kelvora
