#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ports/SystemControls.h"

namespace kelvora::platform {

/// System controls from a table of values. By number it knows what programs ask for
/// by number: {6, 3}, the processors, and {6, 7}, the page size; both as 4-byte values, from
/// "hw.ncpu" and "hw.pagesize"; and the list of network interfaces.
class SystemControlTable : public SystemControls {
 public:
  using Values = std::map<std::string, std::vector<std::byte>, std::less<>>;

  /// `interfaceList` is the value of `kInterfaceListControl`.
  explicit SystemControlTable(Values values, std::vector<std::byte> interfaceList = {});
  int byName(const char* name, void* value, std::size_t* size) override;
  int byNumber(std::span<const int> name, void* value, std::size_t* size) override;

 private:
  Values values_;
  std::vector<std::byte> interfaceList_;
};

/// Answers a question for a control with these value bytes, as sysctl(3) does: copies what fits and
/// fails with ENOMEM if that is not all.
int copyControl(std::span<const std::byte> bytes, void* value, std::size_t* size);

/// The bytes of a text control: the text and a NUL.
std::vector<std::byte> textControlBytes(std::string_view text);
/// The 4 or 8 bytes of a number control in the host's order.
std::vector<std::byte> int32ControlBytes(std::int32_t value);
std::vector<std::byte> int64ControlBytes(std::int64_t value);

}  // namespace kelvora::platform
