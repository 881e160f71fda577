#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "tests/support/ChildProgram.h"

namespace kelvora::testing {

inline ProgramResult runKelvora(const std::vector<std::string>& arguments,
                                const Environment& environment = {}) {
  return runProgram(KELVORA_PROGRAM, arguments, environment);
}

inline std::string firstLine(const std::string& text) { return text.substr(0, text.find('\n')); }

inline std::ptrdiff_t lineCount(const std::string& text) {
  return std::count(text.begin(), text.end(), '\n');
}

}  // namespace kelvora::testing
