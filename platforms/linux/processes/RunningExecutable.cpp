#include "platforms/linux/processes/RunningExecutable.h"

#include <chrono>
#include <filesystem>
#include <sstream>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

#include "platforms/linux/system/TextFile.h"
#include "platforms/posix/ProcessExecutable.h"

namespace kelvora::platform {

namespace {

namespace fs = std::filesystem;

// A process as /proc describes it.
struct Process {
  fs::path folder;  ///< e.g. "/proc/4711"
  std::string program;
  std::vector<std::string> words;  ///< its command line
};

bool isThisUsers(const fs::path& folder) {
  struct stat facts = {};
  return stat(folder.c_str(), &facts) == 0 && facts.st_uid == getuid();
}

// While it starts a program has no command line: for a moment, or longer on a busy computer.
std::string commandLineOf(const fs::path& folder) {
  using Clock = std::chrono::steady_clock;
  constexpr std::chrono::milliseconds kPause(1);
  constexpr std::chrono::seconds kLongestStart(1);
  const Clock::time_point deadline = Clock::now() + kLongestStart;
  std::string line = readFile(folder / "cmdline").value_or("");
  while (line.empty() && Clock::now() < deadline) {
    std::this_thread::sleep_for(kPause);
    line = readFile(folder / "cmdline").value_or("");
  }
  return line;
}

// The first three words: more are not looked at.
std::vector<std::string> wordsOf(const fs::path& folder) {
  std::istringstream line(commandLineOf(folder));
  std::vector<std::string> words;
  for (std::string word; words.size() < 3 && std::getline(line, word, '\0');) {
    words.push_back(word);
  }
  return words;
}

// Words of a command line may be relative to the folder of the process.
std::string absolute(const Process& process, const std::string& word) {
  std::error_code error;
  const fs::path folder = fs::read_symlink(process.folder / "cwd", error);
  return (folder / word).lexically_normal().string();
}

bool isSameFile(const std::string& path, const std::string& program) {
  std::error_code error;
  return fs::canonical(path, error).string() == program;
}

// The words after "#!" of a script; none for another file.
std::vector<std::string> interpreterOf(const std::string& script) {
  const std::string first = readLine(script).value_or("");
  std::vector<std::string> words;
  if (first.starts_with("#!")) {
    std::istringstream line(first.substr(2));
    for (std::string word; line >> word;) {
      words.push_back(word);
    }
  }
  return words;
}

// "#!/usr/bin/env python3" runs env for a moment and then python3, whose first word is that name.
bool interprets(const Process& process, const std::string& script) {
  const std::vector<std::string> interpreter = interpreterOf(script);
  if (interpreter.empty() || isSameFile(interpreter.front(), process.program)) {
    return !interpreter.empty();
  }
  return interpreter.size() > 1 && fs::path(interpreter.front()).filename() == "env" &&
         fs::path(process.words.front()).filename() == interpreter[1];
}

std::optional<ApplicationBundle> linkedApplication(const Process& process) {
  const auto bundle = applicationOfExecutable(absolute(process, process.words.front()));
  return bundle && isSameFile(bundle->executablePath, process.program) ? bundle : std::nullopt;
}

// The kernel puts the interpreter, and its one argument if there is one, before a script's path.
std::optional<ApplicationBundle> interpretedApplication(const Process& process) {
  for (std::size_t i = 1; i < process.words.size(); ++i) {
    auto bundle = applicationOfExecutable(absolute(process, process.words[i]));
    if (bundle && interprets(process, bundle->executablePath)) {
      return bundle;
    }
  }
  return std::nullopt;
}

}  // namespace

std::optional<ApplicationBundle> applicationOfProcess(std::int64_t pid) {
  Process process{fs::path("/proc") / std::to_string(pid), "", {}};
  if (!isThisUsers(process.folder)) {
    return std::nullopt;
  }
  // A process that starts another program changes its program first and its command line then.
  do {
    process.program = executableOf(static_cast<pid_t>(pid));
    if (process.program.empty()) {
      return std::nullopt;
    }
    if (auto bundle = applicationOfExecutable(process.program)) {
      return bundle;
    }
    process.words = wordsOf(process.folder);
  } while (executableOf(static_cast<pid_t>(pid)) != process.program);
  if (process.words.empty()) {
    return std::nullopt;
  }
  auto linked = linkedApplication(process);
  return linked ? linked : interpretedApplication(process);
}

}  // namespace kelvora::platform
