#pragma once

#include <array>
#include <csignal>
#include <stdexcept>
#include <string>
#include <vector>

#include <fcntl.h>

#include "tests/support/ChildWork.h"

namespace kelvora::testing {

/// A program that runs beside the test, with pipes from both its outputs. Killed and reaped at the
/// end if it still runs.
class RunningProgram {
 public:
  RunningProgram(const std::string& path, const std::vector<std::string>& arguments)
      : program_([&] { return execute(path, arguments); }) {
    close(output_.ends[1]);
    close(error_.ends[1]);
  }

  /// The next line that it prints, without its end; empty once it has ended. Blocks.
  std::string nextLine() { return lineFrom(output_.ends[0]); }
  std::string nextErrorLine() { return lineFrom(error_.ends[0]); }

  void signal(int number) const { ::kill(program_.pid(), number); }
  /// The exit status, or 128 plus the signal that ended it.
  int wait() { return program_.wait(); }

 private:
  struct Pipe {
    Pipe() {
      if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe");
      }
    }
    ~Pipe() { close(ends[0]); }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;
    std::array<int, 2> ends = {};
  };

  int execute(const std::string& path, const std::vector<std::string>& arguments) const {
    dup2(output_.ends[1], STDOUT_FILENO);
    dup2(error_.ends[1], STDERR_FILENO);
    std::vector<char*> words{const_cast<char*>(path.c_str())};
    for (const std::string& argument : arguments) {
      words.push_back(const_cast<char*>(argument.c_str()));
    }
    words.push_back(nullptr);
    execv(path.c_str(), words.data());
    return 127;
  }

  static std::string lineFrom(int descriptor) {
    std::string line;
    char byte = 0;
    while (read(descriptor, &byte, 1) == 1 && byte != '\n') {
      line += byte;
    }
    return line;
  }

  Pipe output_;
  Pipe error_;
  ChildWork program_;
};

}  // namespace kelvora::testing
