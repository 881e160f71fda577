#include "KelvoraCore/StopSignal.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include "ports/Ports.h"

namespace kelvora {

namespace {

constexpr std::array<int, 2> kSignals{SIGINT, SIGTERM};

// A handler may only use what is set before it can run: the signal becomes a byte in a pipe.
std::array<int, 2> ends{-1, -1};
std::array<struct sigaction, kSignals.size()> previous{};

void stop(int) {
  const int error = errno;
  const char byte = 0;
  // A full pipe says the same already.
  [[maybe_unused]] const ssize_t count = write(ends[1], &byte, 1);
  errno = error;
}

void openPipe() {
  if (pipe(ends.data()) != 0) {
    throw std::system_error(errno, std::generic_category(), "stop signal");
  }
  for (const int end : ends) {
    fcntl(end, F_SETFD, FD_CLOEXEC);
    fcntl(end, F_SETFL, O_NONBLOCK);
  }
}

bool isAsked() {
  pollfd waiting{ends[0], POLLIN, 0};
  return poll(&waiting, 1, 0) > 0;
}

}  // namespace

StopSignal::StopSignal() {
  openPipe();
  struct sigaction action = {};
  action.sa_handler = stop;
  action.sa_flags = SA_RESTART;
  sigemptyset(&action.sa_mask);
  for (std::size_t i = 0; i < kSignals.size(); ++i) {
    sigaction(kSignals.at(i), &action, &previous.at(i));
  }
}

StopSignal::~StopSignal() {
  for (std::size_t i = 0; i < kSignals.size(); ++i) {
    sigaction(kSignals.at(i), &previous.at(i), nullptr);
  }
  for (int& end : ends) {
    close(end);
    end = -1;
  }
}

bool StopSignal::waitUntilReadable(int descriptor) {
  std::array<pollfd, 2> waiting{{{ends[0], POLLIN, 0}, {descriptor, POLLIN, 0}}};
  // A signal ends the wait early; its byte is found the next time round.
  while (poll(waiting.data(), waiting.size(), -1) < 0 && errno == EINTR) {
  }
  return waiting[0].revents == 0;
}

bool StopSignal::runUntil(std::chrono::steady_clock::time_point deadline) {
  platform::MainQueue& queue = Platform::current().mainQueue();
  do {
    if (isAsked()) {
      return false;
    }
    queue.waitForWork(deadline, ends[0]);
    if (isAsked()) {
      return false;
    }
    queue.runPending();
  } while (std::chrono::steady_clock::now() < deadline);
  return true;
}

void StopSignal::run() {
  while (runUntil(std::chrono::steady_clock::time_point::max())) {
  }
}

}  // namespace kelvora
