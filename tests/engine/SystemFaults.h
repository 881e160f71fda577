#pragma once

#include <array>
#include <cerrno>
#include <cstdarg>

#include <sqlite3.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kelvora::testing {

/// Counts the system calls that SQLite makes for files, and lets one of them fail. SQLite's own
/// waits end at once. One at a time.
class SystemFaults {
 public:
  SystemFaults() {
    calls() = 0;
    failing() = 0;
    replace<0, int, const char*, int, int>("open");
    replace<1, ssize_t, int, void*, size_t>("read");
    replace<2, ssize_t, int, const void*, size_t>("write");
    replace<3, ssize_t, int, void*, size_t, off_t>("pread");
    replace<4, ssize_t, int, void*, size_t, off_t>("pread64");
    replace<5, ssize_t, int, const void*, size_t, off_t>("pwrite");
    replace<6, ssize_t, int, const void*, size_t, off_t>("pwrite64");
    replace<7, int, int, struct stat*>("fstat");
    replace<8, int, const char*, struct stat*>("stat");
    replace<9, int, int, off_t>("ftruncate");
    replace<10, void*, void*, size_t, int, int, int, off_t>("mmap");
    original<int, int, int, void*>(11) =
        reinterpret_cast<int (*)(int, int, void*)>(vfs()->xGetSystemCall(vfs(), "fcntl"));
    vfs()->xSetSystemCall(vfs(), "fcntl", reinterpret_cast<sqlite3_syscall_ptr>(lockCall));
    sleep_ = vfs()->xSleep;
    vfs()->xSleep = [](sqlite3_vfs*, int microseconds) { return microseconds; };
  }
  ~SystemFaults() {
    vfs()->xSetSystemCall(vfs(), nullptr, nullptr);
    vfs()->xSleep = sleep_;
  }
  SystemFaults(const SystemFaults&) = delete;
  SystemFaults& operator=(const SystemFaults&) = delete;

  /// The n-th call from now on fails, counted from 1; 0 for none.
  void failCall(int number) {
    calls() = 0;
    failing() = number;
  }
  int made() const { return calls(); }

 private:
  static int& calls() {
    static int count = 0;
    return count;
  }
  static int& failing() {
    static int number = 0;
    return number;
  }
  static sqlite3_vfs* vfs() { return sqlite3_vfs_find(nullptr); }
  static bool fails() {
    ++calls();
    errno = EIO;
    return calls() == failing();
  }
  template <typename R>
  static R failure() {
    if constexpr (std::is_pointer_v<R>) {
      return reinterpret_cast<R>(-1);  // MAP_FAILED
    } else {
      return -1;
    }
  }
  template <typename R, typename... Arguments>
  static R (*&original(int number))(Arguments...) {
    static std::array<R (*)(Arguments...), 12> functions{};
    return functions.at(static_cast<std::size_t>(number));
  }
  template <int number, typename R, typename... Arguments>
  static R call(Arguments... arguments) {
    return fails() ? failure<R>() : original<R, Arguments...>(number)(arguments...);
  }
  template <int number, typename R, typename... Arguments>
  static void replace(const char* name) {
    const auto known = vfs()->xGetSystemCall(vfs(), name);
    if (known != nullptr) {
      original<R, Arguments...>(number) = reinterpret_cast<R (*)(Arguments...)>(known);
      const auto mine = &SystemFaults::call<number, R, Arguments...>;
      vfs()->xSetSystemCall(vfs(), name, reinterpret_cast<sqlite3_syscall_ptr>(mine));
    }
  }
  static int lockCall(int descriptor, int command, ...) {
    va_list rest;
    va_start(rest, command);
    void* argument = va_arg(rest, void*);
    va_end(rest);
    return fails() ? -1 : original<int, int, int, void*>(11)(descriptor, command, argument);
  }

  int (*sleep_)(sqlite3_vfs*, int) = nullptr;
};

}  // namespace kelvora::testing
