#pragma once

#include <string>
#include <utility>
#include <vector>

namespace kelvora::testing {

struct ProgramResult {
  int status = -1;  ///< exit status, or 128 plus the signal
  std::string standardOutput;
  std::string standardError;
};

using Environment = std::vector<std::pair<std::string, std::string>>;

/// Runs a program to its end with both outputs captured in files.
ProgramResult runProgram(const std::string& path, const std::vector<std::string>& arguments,
                         const Environment& environment = {});

/// Runs a program with standard output on a terminal of `columns`; line ends come as "\r\n" there
/// and are given back as "\n".
ProgramResult runInTerminal(const std::string& path, const std::vector<std::string>& arguments,
                            unsigned short columns, const Environment& environment = {});

}  // namespace kelvora::testing
