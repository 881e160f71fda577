// What macOS has in its system library and this system has not.
#include "tests/macos/frameworks/Posix.h"

#include <array>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

#include <copyfile.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/stdio.h>
#include <unistd.h>

#include "platforms/posix/ProcessExecutable.h"
#include "platforms/posix/SpawnSystem.h"
#include "tests/macos/frameworks/Ledger.h"

namespace {

bool& hasRaisedRights() {
  static bool raised = false;
  return raised;
}

}  // namespace

namespace kelvora::testing::mac {

void setRaisedRights(bool raised) { hasRaisedRights() = raised; }

}  // namespace kelvora::testing::mac

using kelvora::testing::mac::Ledger;

int issetugid() { return hasRaisedRights() ? 1 : 0; }

int pthread_main_np() { return getpid() == gettid() ? 1 : 0; }

int copyfile(const char* from, const char* to, copyfile_state_t, copyfile_flags_t flags) {
  const bool fails = Ledger::shared().called("copyfile", from, to);
  if (flags != (COPYFILE_ALL | COPYFILE_UNLINK)) {
    Ledger::misuse("copyfile", "the double knows only whole copies that remove the old file first");
  }
  std::error_code error;
  std::filesystem::remove(to, error);
  if (fails) {
    std::ofstream(to) << "a part of it";
    errno = ENOSPC;
    return -1;
  }
  if (!std::filesystem::copy_file(from, to, error)) {
    errno = error.value();
    return -1;
  }
  return 0;
}

int renamex_np(const char* from, const char* to, unsigned flags) {
  if (flags != RENAME_EXCL) {
    Ledger::misuse("renamex_np", "the double knows only names that replace nothing");
  }
  if (Ledger::shared().called("renamex_np", from, to)) {
    errno = EIO;
    return -1;
  }
  return renameat2(AT_FDCWD, from, AT_FDCWD, to, 1 /* RENAME_NOREPLACE */);
}

namespace kelvora::platform {

int openPipe(std::array<int, 2>& ends) { return pipe2(ends.data(), O_CLOEXEC) == 0 ? 0 : errno; }

int keepOnlyStandardDescriptors(posix_spawn_file_actions_t& actions, posix_spawnattr_t&) {
  return posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
}

char** environmentOfProcess() { return environ; }

std::string executableOf(pid_t process) {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/" + std::to_string(process) + "/exe", error).string();
}

}  // namespace kelvora::platform
