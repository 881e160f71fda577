#include "tools/smc/LastLog.h"

#include "base/Log.h"

namespace kelvora {

namespace {

std::string& last() {
  static std::string line;
  return line;
}

}  // namespace

void log(std::string_view line) { last() = line; }

const std::string& tool::lastLoggedLine() { return last(); }

}  // namespace kelvora
