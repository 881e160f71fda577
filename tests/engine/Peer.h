#pragma once

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kelvora::testing {

/// A second process on the store: tests/store/store_peer.cpp with arguments.
class Peer {
 public:
  explicit Peer(const std::vector<std::string>& arguments,
                const std::string& program = KELVORA_STORE_PEER) {
    int input[2];
    int output[2];
    if (pipe(input) != 0 || pipe(output) != 0) {
      return;
    }
    pid_ = fork();
    if (pid_ == 0) {
      dup2(input[0], STDIN_FILENO);
      dup2(output[1], STDOUT_FILENO);
      dup2(output[1], STDERR_FILENO);
      for (const int end : {input[0], input[1], output[0], output[1]}) {
        close(end);
      }
      std::vector<std::string> texts{program};
      texts.insert(texts.end(), arguments.begin(), arguments.end());
      std::vector<char*> pointers;
      for (std::string& text : texts) {
        pointers.push_back(text.data());
      }
      pointers.push_back(nullptr);
      execv(pointers[0], pointers.data());
      _exit(127);
    }
    close(input[0]);
    close(output[1]);
    input_ = input[1];
    output_ = fdopen(output[0], "r");
  }
  ~Peer() {
    if (pid_ > 0) {
      kill();
    }
    endInput();
    if (output_ != nullptr) {
      fclose(output_);
    }
  }
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  /// Exit status; -1 when a signal ended it.
  int wait() {
    int status = 0;
    waitpid(std::exchange(pid_, 0), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  void kill() {
    ::kill(pid_, SIGKILL);
    wait();
  }
  void endInput() {
    if (input_ >= 0) {
      close(std::exchange(input_, -1));
    }
  }
  /// One line of its output, without the end; empty at its end.
  std::string line() {
    std::string text;
    for (int c = fgetc(output_); c != EOF && c != '\n'; c = fgetc(output_)) {
      text += static_cast<char>(c);
    }
    return text;
  }
  std::string all() {
    std::string text;
    for (int c = fgetc(output_); c != EOF; c = fgetc(output_)) {
      text += static_cast<char>(c);
    }
    return text;
  }

 private:
  pid_t pid_ = 0;
  int input_ = -1;
  FILE* output_ = nullptr;
};

}  // namespace kelvora::testing
