// Machine files from anywhere: each is refused with one line, or all its ports work.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platforms/recorded/file/MachineFile.h"
#include "tests/support/MachineWalk.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view json(reinterpret_cast<const char*>(data), size);
  try {
    kelvora::testing::walkMachine(kelvora::platform::parseMachine(json, "fuzz.json"));
  } catch (const kelvora::platform::MachineFileError& error) {
    if (std::string_view(error.what()).find('\n') != std::string_view::npos) {
      __builtin_trap();
    }
  }
  return 0;
}
