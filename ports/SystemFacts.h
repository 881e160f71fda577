#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kelvora::platform {

/// A version of the operating system, e.g. 13, 4, 1 for "13.4.1".
struct OSVersion {
  std::int64_t major = 0;
  std::int64_t minor = 0;
  std::int64_t patch = 0;
};

/// DiskArbitration's description of a disk. A member has no value if the description lacks it.
struct DiskDescription {
  std::optional<std::string> mediaName;    ///< e.g. "APPLE SSD AP0512M Media"
  std::optional<std::string> deviceModel;  ///< may carry blanks at its ends
  std::optional<std::int64_t> mediaSizeBytes;
  bool mediaRemovable = false;
};

/// One active display. Sizes are points of its frame.
struct Display {
  bool builtIn = false;
  double width = 0;
  double height = 0;
};

/// The most displays that are reported.
inline constexpr std::size_t kMostDisplays = 32;

/// Facts of the running system from Foundation, DiskArbitration and CoreGraphics. A text is empty
/// if the system does not report it. Nothing is logged. Any thread.
class SystemFacts {
 public:
  virtual ~SystemFacts() = default;
  /// NSProcessInfo's operatingSystemVersion, e.g. 13.4.0; none if it is not available.
  virtual std::optional<OSVersion> osVersion() = 0;
  /// NSProcessInfo's operatingSystemVersionString, e.g. "Version 13.4 (Build 22F66)".
  virtual std::string osVersionText() = 0;
  /// NSHost's localizedName, e.g. "Anna's MacBook Pro".
  virtual std::string localizedHostName() = 0;
  /// NSHost's name, e.g. "annas-macbook-pro.local".
  virtual std::string hostName() = 0;
  /// NSHost's addresses, IPv4 and IPv6 texts in the system's order.
  virtual std::vector<std::string> hostAddresses() = 0;
  /// NSHost's primary address; empty when there is none.
  virtual std::string primaryHostAddress() = 0;
  /// Paths of the mounted volumes in the system's order, e.g. {"/", "/Volumes/Backup"}.
  virtual std::vector<std::string> mountedVolumePaths() = 0;
  /// DADiskCopyDescription of the disk that holds the volume at `path`; none if there is no
  /// disk or no description.
  virtual std::optional<DiskDescription> diskDescription(std::string_view path) = 0;
  /// The active displays, the main one first; at most `kMostDisplays`.
  virtual std::vector<Display> activeDisplays() = 0;
};

}  // namespace kelvora::platform
