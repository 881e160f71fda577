#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

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

/// The program has refused its arguments, or what they ask for, in this one line.
inline void expectRefused(const ProgramResult& result, const std::string& line, int status = 2) {
  EXPECT_EQ(result.status, status);
  EXPECT_EQ(result.standardOutput, "");
  EXPECT_EQ(result.standardError, "kelvora: " + line + "\n");
}

}  // namespace kelvora::testing
