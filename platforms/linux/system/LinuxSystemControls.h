#pragma once

#include <mutex>
#include <optional>
#include <string>

#include "platforms/shared/SystemControlTable.h"

namespace kelvora::platform {

/// The system controls that Linux knows under other names: the model from DMI, processors from
/// /proc/cpuinfo and /sys, installed memory from /proc/meminfo. What Linux does not know is an
/// unknown control. Everything is read once, at the first question; only
/// the list of network interfaces is made from /proc/net/dev at every question.
class LinuxSystemControls : public SystemControls {
 public:
  /// `root` is put before every path, e.g. a folder with its own "proc" and "sys"; empty for the
  /// system's.
  explicit LinuxSystemControls(std::string root = "");
  int byName(const char* name, void* value, std::size_t* size) override;
  int byNumber(std::span<const int> name, void* value, std::size_t* size) override;

 private:
  int interfaceList(void* value, std::size_t* size) const;
  SystemControlTable& table();

  std::string root_;
  std::once_flag isRead_;
  std::optional<SystemControlTable> table_;
};

}  // namespace kelvora::platform
