#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "KelvoraCore/Export.h"
#include "KelvoraCore/Platform.h"

namespace kelvora {

namespace platform {
class ChildProcess;
}

class CPUReader;

/// A process and its share of the processors. A plain value. Programs can pass it to each other as
/// a keyed archive.
struct KELVORA_EXPORT CPUTopProcess {
  std::int64_t pid = 0;             ///< e.g. 412
  std::string command;              ///< as the system's tool prints it, e.g. "Safari"; UTF-8
  std::optional<std::string> name;  ///< of the application, e.g. "Safari"; none for other processes
  double usage = 0;  ///< percent of one processor, e.g. 38.4; several processors can make it 250

  friend bool operator==(const CPUTopProcess&, const CPUTopProcess&) = default;
};

// Keyed archives in the layout of the system's archiver, class "CPUTopProcess" with the keys "pid",
// "command", "name" and "usage". Bytes from elsewhere are safe to read: only this class, lists,
// numbers and texts are accepted. All on any thread; nothing is logged.

/// The record as an archive; without a name its "name" is null.
KELVORA_EXPORT std::vector<std::byte> archiveOfTopProcess(const CPUTopProcess& process);
/// The list as an archive, in its order.
KELVORA_EXPORT std::vector<std::byte> archiveOfTopProcesses(
    const std::vector<CPUTopProcess>& processes);
/// The record in an archive. A field that is missing, null or of another kind keeps its default.
/// None when the bytes are damaged or hold anything but such a record.
KELVORA_EXPORT std::optional<CPUTopProcess> topProcessInArchive(std::span<const std::byte> bytes);
/// The list in an archive, by the same rules. None also when an item is no such record.
KELVORA_EXPORT std::optional<std::vector<CPUTopProcess>> topProcessesInArchive(
    std::span<const std::byte> bytes);

/// Receives the lists of a CPUReader. Operations do nothing unless overridden.
class KELVORA_EXPORT CPUReaderDelegate {
 public:
  virtual ~CPUReaderDelegate() = default;
  /// Called on the thread that reads, before `read` returns. `processes` has the busiest process
  /// first; it is empty if the system listed none or none were asked for.
  virtual void cpuReaderDidReadTopProcesses(CPUReader& reader,
                                            const std::vector<CPUTopProcess>& processes);
};

/// Lists the processes that use the processors most, by the system's tool `ps`. One thread at a
/// time, except for `stop`.
///
/// On macOS a share is an average over the last minute. On Linux it is an average over the life of
/// the process, and commands are cut to 15 bytes.
class KELVORA_EXPORT CPUReader {
 public:
  /// A reader of the current platform.
  CPUReader();
  /// The reader uses the processes and applications of `platform`, which must outlive it.
  explicit CPUReader(Platform& platform);

  /// How many processes a reading lists at most: 5 until it is set. With 0 the list is empty; a
  /// negative number lists every process.
  std::int64_t numberOfProcesses() const { return numberOfProcesses_; }
  void setNumberOfProcesses(std::int64_t number) { numberOfProcesses_ = number; }

  /// Who receives the lists; null when none was set or the delegate no longer exists.
  std::shared_ptr<CPUReaderDelegate> delegate() const { return delegate_.lock(); }
  /// Held weakly. An object that no shared pointer owns can keep a shared token and pass
  /// `std::shared_ptr<CPUReaderDelegate>(token, this)`: the delegate ends with the token.
  void setDelegate(std::weak_ptr<CPUReaderDelegate> delegate) { delegate_ = std::move(delegate); }

  /// Does nothing: a reader is ready once constructed. Lets a program prepare all readers in the
  /// same way.
  void setup() {}

  /// Takes one sample and passes it to the delegate. Blocks until `ps` has ended, some 10 to 50 ms:
  /// call it on a thread other than the user interface's. Does not call the delegate if `ps` cannot
  /// be started or prints nothing; neither is logged.
  ///
  /// What is not UTF-8 in the output is read as U+FFFD. The digits of a process's number are
  /// removed from its whole line, so a share or a command that has them too loses them: "7  17.2
  /// x7" gives 1.2 and "x".
  void read();

  /// Ends the readings, e.g. because the program ends: terminates the `ps` that another thread's
  /// `read` is waiting for. That `read`, and every later one, returns without calling the delegate.
  /// Any thread; does not wait.
  void stop();

 private:
  std::string processList();
  void setRunning(platform::ChildProcess* tool);

  Platform& platform_;
  std::int64_t numberOfProcesses_ = 5;
  std::weak_ptr<CPUReaderDelegate> delegate_;
  std::mutex mutex_;  // over `running_`
  platform::ChildProcess* running_ = nullptr;
  std::atomic<bool> isStopped_ = false;
};

}  // namespace kelvora
