#include "tests/support/ChildProgram.h"

#include <cstdlib>

#include <fcntl.h>
#include <pty.h>
#include <utmp.h>

#include "tests/support/TemporaryFolder.h"

namespace kelvora::testing {

namespace {

// Replaces this process, a child, by the program; the status 127 when it cannot.
int execute(const std::string& path, const std::vector<std::string>& arguments,
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
  return 127;
}

void writeInto(const std::string& file, int descriptor) {
  dup2(open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600), descriptor);
}

// Reads until the other side closes; a terminal reports that as an error.
std::string readAll(int descriptor) {
  std::string text;
  char buffer[4096];
  for (ssize_t count = 0; (count = read(descriptor, buffer, sizeof buffer)) > 0;) {
    text.append(buffer, static_cast<std::size_t>(count));
  }
  return text;
}

}  // namespace

ChildProgram::Pipe::Pipe() {
  if (pipe2(ends.data(), O_CLOEXEC) != 0) {
    throw std::runtime_error("no pipe");
  }
}

ChildProgram::Pipe::~Pipe() {
  closeEnd(0);
  closeEnd(1);
}

void ChildProgram::Pipe::closeEnd(std::size_t end) {
  if (ends[end] >= 0) {
    close(std::exchange(ends[end], -1));
  }
}

ChildProgram::ChildProgram(const std::string& path, const std::vector<std::string>& arguments,
                           const Environment& environment)
    : program_([&] {
        dup2(input_.ends[0], STDIN_FILENO);
        dup2(output_.ends[1], STDOUT_FILENO);
        dup2(error_.ends[1], STDERR_FILENO);
        return execute(path, arguments, environment);
      }) {
  input_.closeEnd(0);
  output_.closeEnd(1);
  error_.closeEnd(1);
}

std::string ChildProgram::lineFrom(const Pipe& pipe) {
  std::string line;
  char byte = 0;
  while (read(pipe.ends[0], &byte, 1) == 1 && byte != '\n') {
    line += byte;
  }
  return line;
}

std::string ChildProgram::restFrom(const Pipe& pipe) { return readAll(pipe.ends[0]); }

ProgramResult runProgram(const std::string& path, const std::vector<std::string>& arguments,
                         const Environment& environment) {
  const TemporaryFolder outputs;
  ChildWork program([&] {
    writeInto(outputs.path("output"), STDOUT_FILENO);
    writeInto(outputs.path("error"), STDERR_FILENO);
    return execute(path, arguments, environment);
  });
  const int status = program.wait();
  return {status, outputs.read("output"), outputs.read("error")};
}

ProgramResult runInTerminal(const std::string& path, const std::vector<std::string>& arguments,
                            unsigned short columns, const Environment& environment,
                            const std::string& typed) {
  winsize size{};
  size.ws_row = 24;
  size.ws_col = columns;
  int terminal = -1;
  int programSide = -1;
  if (openpty(&terminal, &programSide, nullptr, nullptr, &size) != 0) {
    throw std::runtime_error("no terminal");
  }
  const TemporaryFolder outputs;
  ChildWork program([&] {
    close(terminal);
    login_tty(programSide);
    writeInto(outputs.path("error"), STDERR_FILENO);
    return execute(path, arguments, environment);
  });
  close(programSide);
  if (write(terminal, typed.data(), typed.size()) < 0) {
    throw std::runtime_error("nothing can be typed");
  }
  std::string text = readAll(terminal);
  close(terminal);
  std::erase(text, '\r');
  const int status = program.wait();
  return {status, std::move(text), outputs.read("error")};
}

}  // namespace kelvora::testing
