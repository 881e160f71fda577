#pragma once

#include <array>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/ChildWork.h"

// Programs that a test starts.
namespace kelvora::testing {

using Environment = std::vector<std::pair<std::string, std::string>>;

/// A program that runs beside the test, with a pipe for its input and for each output. Killed and
/// reaped at the end if it still runs.
class ChildProgram {
 public:
  /// `environment` is added to this process's own.
  ChildProgram(const std::string& path, const std::vector<std::string>& arguments,
               const Environment& environment = {});

  /// The next line of standard output, without its end; empty once there is no more. Blocks.
  std::string nextLine() { return lineFrom(output_); }
  std::string nextErrorLine() { return lineFrom(error_); }
  /// The rest of standard output. Blocks until the program closes it.
  std::string restOfOutput() { return restFrom(output_); }
  std::string restOfError() { return restFrom(error_); }

  void endInput() { input_.closeEnd(1); }
  pid_t pid() const { return program_.pid(); }
  void signal(int number) const { ::kill(program_.pid(), number); }
  /// The exit status, or 128 plus the signal that ended it.
  int wait() { return program_.wait(); }

 private:
  struct Pipe {
    Pipe();
    ~Pipe();
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;
    void closeEnd(std::size_t end);
    std::array<int, 2> ends = {-1, -1};
  };

  static std::string lineFrom(const Pipe& pipe);
  static std::string restFrom(const Pipe& pipe);

  Pipe input_;
  Pipe output_;
  Pipe error_;
  ChildWork program_;
};

struct ProgramResult {
  int status = -1;  ///< exit status, or 128 plus the signal
  std::string standardOutput;
  std::string standardError;
};

/// Runs a program to its end with both outputs captured in files.
ProgramResult runProgram(const std::string& path, const std::vector<std::string>& arguments,
                         const Environment& environment = {});

/// Runs a program with standard output on a terminal of `columns`; line ends come as "\r\n" there
/// and are given back as "\n". `typed` is what a person types there; the terminal shows it too.
ProgramResult runInTerminal(const std::string& path, const std::vector<std::string>& arguments,
                            unsigned short columns, const Environment& environment = {},
                            const std::string& typed = "");

}  // namespace kelvora::testing
