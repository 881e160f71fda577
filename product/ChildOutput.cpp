#include "product/ChildOutput.h"

#include <array>
#include <cstddef>
#include <span>

namespace kelvora {

std::string readToEnd(platform::ChildProcess& child) {
  std::string output;
  std::array<char, 65'536> buffer;
  while (const std::size_t count =
             child.readStandardOutput(std::as_writable_bytes(std::span(buffer)))) {
    output.append(buffer.data(), count);
  }
  return output;
}

}  // namespace kelvora
