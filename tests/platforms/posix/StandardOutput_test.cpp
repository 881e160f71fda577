#include "KelvoraCore/StandardOutput.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "platforms/posix/FileDescriptor.h"
#include "tests/support/ChildWork.h"
#include "tests/support/TemporaryFolder.h"

namespace kelvora {
namespace {

class StandardOutputTest : public ::testing::Test {
 protected:
  // Runs `work` in a process of its own whose output goes to two files, and returns its exit
  // status.
  int run(const std::function<int()>& work) const {
    std::fflush(stdout);
    return testing::ChildWork([&] {
             redirect(STDOUT_FILENO, folder_.path("output"));
             redirect(STDERR_FILENO, folder_.path("error"));
             return work();
           })
        .wait();
  }
  static void redirect(int descriptor, const std::string& path) {
    const platform::FileDescriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600));
    dup2(file.get(), descriptor);
  }

  testing::TemporaryFolder folder_;
};

TEST_F(StandardOutputTest, AReportIsKeptApartFromWhatElseIsPrinted) {
  EXPECT_EQ(run([] {
              StandardOutput output;
              std::printf("a message\n");
              const bool isWritten = output.write("the report\n");
              output.discardMessages(true);
              std::printf("discarded\n");
              output.discardMessages(false);
              std::printf("another\n");
              return isWritten && output.write("its end\n") ? 0 : 1;
            }),
            0);
  EXPECT_EQ(folder_.read("output"), "the report\nits end\n");
  EXPECT_EQ(folder_.read("error"), "a message\nanother\n");
}

TEST_F(StandardOutputTest, AReaderSeesTheEndWhenItIsClosed) {
  EXPECT_EQ(run([] {
              std::array<int, 2> ends = {};
              if (pipe(ends.data()) != 0) {
                return 2;
              }
              dup2(ends[1], STDOUT_FILENO);
              close(ends[1]);
              StandardOutput output;
              output.write("the report");
              output.close();
              std::array<char, 64> text{};
              const bool isRead = read(ends[0], text.data(), text.size()) == 10;
              const bool hasEnded = read(ends[0], text.data(), text.size()) == 0;
              return isRead && hasEnded && !output.write("more") ? 0 : 1;
            }),
            0);
}

TEST_F(StandardOutputTest, AReportThatCannotBeWrittenFails) {
  EXPECT_EQ(run([] {
              redirect(STDOUT_FILENO, "/dev/full");
              return StandardOutput().write("the report") ? 1 : 0;
            }),
            0);
  EXPECT_EQ(run([] {
              close(STDOUT_FILENO);
              return StandardOutput().write("the report") ? 1 : 0;
            }),
            0);
}

TEST_F(StandardOutputTest, NoFileTakesTheNumberOfAClosedStandardDescriptor) {
  EXPECT_EQ(run([] {
              close(STDIN_FILENO);
              close(STDERR_FILENO);
              const StandardOutput output;
              const platform::FileDescriptor file(open("/dev/null", O_RDONLY));
              return file.get() > STDERR_FILENO ? 0 : 1;
            }),
            0);
}

TEST_F(StandardOutputTest, AFileIsNotATerminal) {
  EXPECT_EQ(run([] {
              const StandardOutput output;
              return output.isTerminal() || output.columns() != 0 ? 1 : 0;
            }),
            0);
}

TEST_F(StandardOutputTest, ATerminalHasAWidth) {
  EXPECT_EQ(run([] {
              const platform::FileDescriptor terminal(posix_openpt(O_RDWR | O_NOCTTY));
              grantpt(terminal.get());
              unlockpt(terminal.get());
              std::array<char, 100> name{};
              ptsname_r(terminal.get(), name.data(), name.size());
              const platform::FileDescriptor screen(open(name.data(), O_RDWR | O_NOCTTY));
              const winsize size{.ws_row = 24, .ws_col = 80, .ws_xpixel = 0, .ws_ypixel = 0};
              ioctl(screen.get(), TIOCSWINSZ, &size);
              dup2(screen.get(), STDOUT_FILENO);
              const StandardOutput output;
              return output.isTerminal() && output.columns() == 80 ? 0 : 1;
            }),
            0);
}

}  // namespace
}  // namespace kelvora
