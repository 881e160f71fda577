// The list of processes: whatever ps prints, each line is one process with valid texts.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "base/UTF8Text.h"
#include "sysinfo/ProcessList.h"

namespace {

void require(bool holds) {
  if (!holds) {
    std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kelvora;
  const std::string text = validUTF8({reinterpret_cast<const char*>(data), size});
  const auto all = parseProcessList(text, -1);
  const auto lineFeeds = static_cast<std::size_t>(std::ranges::count(text, '\n'));
  require(all.size() <= lineFeeds && all.size() + 1 >= lineFeeds);
  for (const CPUTopProcess& process : all) {
    require(process.pid >= 0 && process.usage >= 0 && !process.name);
    require(isValidUTF8(process.command) && process.command.find('\n') == std::string::npos);
  }
  const auto five = parseProcessList(text, 5);
  require(five.size() == std::min<std::size_t>(all.size(), 5));
  require(std::equal(five.begin(), five.end(), all.begin()));
  return 0;
}
