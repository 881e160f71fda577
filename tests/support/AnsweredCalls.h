#pragma once

#include <cstddef>
#include <iterator>
#include <optional>
#include <stdexcept>

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>

namespace kelvora::testing {

/// From now on the kernel does not carry out this system call of this process: it fails with
/// `error`, or succeeds without any effect if that is 0. With `argument` only calls whose first
/// argument has these lower 32 bits. For a ChildWork; it cannot be taken back.
inline void answerCalls(unsigned number, unsigned error, std::optional<unsigned> argument = {}) {
  const auto load = [](std::size_t offset) {
    return sock_filter{BPF_LD | BPF_W | BPF_ABS, 0, 0, static_cast<unsigned>(offset)};
  };
  const auto skipUnless = [](unsigned value, unsigned char count) {
    return sock_filter{BPF_JMP | BPF_JEQ | BPF_K, 0, count, value};
  };
  // Without an argument, the number is compared again in its place.
  sock_filter program[] = {
      load(offsetof(seccomp_data, nr)),
      skipUnless(number, 3),
      load(argument ? offsetof(seccomp_data, args) : offsetof(seccomp_data, nr)),
      skipUnless(argument.value_or(number), 1),
      {BPF_RET | BPF_K, 0, 0, SECCOMP_RET_ERRNO | error},
      {BPF_RET | BPF_K, 0, 0, SECCOMP_RET_ALLOW},
  };
  const sock_fprog filter{static_cast<unsigned short>(std::size(program)), program};
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
      prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) != 0) {
    throw std::runtime_error("system calls cannot be answered here");
  }
}

}  // namespace kelvora::testing
