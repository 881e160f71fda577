#pragma once

#include <map>
#include <optional>
#include <string>

#include "platforms/posix/FileDescriptor.h"
#include "ports/IOKitTypes.h"

namespace kelvora::platform {

/// The files of the kernel's applesmc driver. Everybody may read "tempN_input", "fanN_input" and
/// the like; root may write "fanN_min", "fanN_output" and "fanN_manual". "key_at_index" is one
/// variable of the whole computer that only root may write: it chooses the key that
/// "key_at_index_name", "_type", "_data_length" and "_data" describe. One thread at a time.
class AppleSMCFiles {
 public:
  /// `folder` is the driver's device folder, e.g. "/sys/devices/platform/applesmc.768".
  explicit AppleSMCFiles(std::string folder) : folder_(std::move(folder)) {}
  virtual ~AppleSMCFiles() = default;

  virtual bool exist() const;
  /// Whether this user may choose keys.
  virtual bool mayChooseKeys() const;
  /// The content of a file now, e.g. "42250\n" for "temp1_input"; none if it cannot be read. The
  /// file stays open: reading it again costs one system call.
  virtual std::optional<std::string> read(const std::string& name);
  /// Opens a file for writing and keeps it open: `write` needs no rights afterwards. Returns
  /// kKernelNotPermitted when this user may not write it, kKernelNoDevice when it is missing.
  virtual KernelStatus openForWriting(const std::string& name);
  /// Writes a file in one call, e.g. "2000\n" to "fan1_output". Returns kKernelBadArgument for
  /// what the driver does not take, kKernelIOError when the SMC refuses it, kKernelNoDevice
  /// when the driver is gone, or what `openForWriting` returns.
  virtual KernelStatus write(const std::string& name, const std::string& content);
  /// Writes an index to "key_at_index"; false when the driver refuses it.
  virtual bool chooseKey(unsigned chosen);
  /// Keeps other programs that lock from choosing keys. Waits at most a second for them, then
  /// continues without the lock.
  virtual void lock();
  virtual void unlock();

 private:
  std::string path(const std::string& name) const { return folder_ + "/" + name; }
  const FileDescriptor& opened(const std::string& name);
  const FileDescriptor& index();

  std::string folder_;
  std::map<std::string, FileDescriptor> open_;
  std::map<std::string, FileDescriptor> writable_;
};

}  // namespace kelvora::platform
