#include "tests/support/RunProgram.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

#include <fcntl.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kelvora::testing {

namespace {

class TemporaryFile {
 public:
  TemporaryFile() { descriptor_ = mkstemp(path_.data()); }
  ~TemporaryFile() {
    close(descriptor_);
    unlink(path_.c_str());
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  int descriptor() const { return descriptor_; }
  std::string text() const {
    std::ifstream file(path_, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

 private:
  std::string path_ = "/tmp/kelvora-test-XXXXXX";
  int descriptor_;
};

[[noreturn]] void execute(const std::string& path, const std::vector<std::string>& arguments,
                          const Environment& environment) {
  for (const auto& [name, value] : environment) {
    setenv(name.c_str(), value.c_str(), 1);
  }
  std::vector<char*> words{const_cast<char*>(path.c_str())};
  for (const std::string& argument : arguments) {
    words.push_back(const_cast<char*>(argument.c_str()));
  }
  words.push_back(nullptr);
  execv(path.c_str(), words.data());
  _exit(127);
}

int statusOf(pid_t child) {
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace

ProgramResult runProgram(const std::string& path, const std::vector<std::string>& arguments,
                         const Environment& environment) {
  const TemporaryFile output;
  const TemporaryFile error;
  const pid_t child = fork();
  if (child == 0) {
    dup2(output.descriptor(), STDOUT_FILENO);
    dup2(error.descriptor(), STDERR_FILENO);
    execute(path, arguments, environment);
  }
  ProgramResult result;
  result.status = statusOf(child);
  result.standardOutput = output.text();
  result.standardError = error.text();
  return result;
}

ProgramResult runInTerminal(const std::string& path, const std::vector<std::string>& arguments,
                            unsigned short columns, const Environment& environment) {
  winsize size{};
  size.ws_row = 24;
  size.ws_col = columns;
  const TemporaryFile error;
  int terminal = -1;
  const pid_t child = forkpty(&terminal, nullptr, nullptr, &size);
  if (child == 0) {
    dup2(error.descriptor(), STDERR_FILENO);
    execute(path, arguments, environment);
  }
  ProgramResult result;
  char buffer[4096];
  for (ssize_t count = 0; (count = read(terminal, buffer, sizeof buffer)) > 0;) {
    for (ssize_t i = 0; i < count; ++i) {
      if (buffer[i] != '\r') {
        result.standardOutput += buffer[i];
      }
    }
  }
  close(terminal);
  result.status = statusOf(child);
  result.standardError = error.text();
  return result;
}

}  // namespace kelvora::testing
