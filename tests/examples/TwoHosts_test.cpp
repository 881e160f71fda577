// Two programs of the product on one bus: a change in one shows in the other because of the notice.
#include <array>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/support/ChildWork.h"
#include "tests/support/SessionBus.h"
#include "tests/support/TemporaryFolder.h"

namespace kelvora {
namespace {

// The menu program with a pipe to its input and one from its output.
class MenuProgram {
 public:
  MenuProgram() {
    if (pipe(input_.data()) != 0 || pipe(output_.data()) != 0) {
      throw std::runtime_error("no pipes");
    }
    program_ = std::make_unique<testing::ChildWork>([this] {
      dup2(input_[0], STDIN_FILENO);
      dup2(output_[1], STDOUT_FILENO);
      for (const int end : {input_[0], input_[1], output_[0], output_[1]}) {
        close(end);
      }
      execl(KELVORA_EXAMPLE_MENU, "menu", static_cast<char*>(nullptr));
      return 127;
    });
    close(input_[0]);
    close(output_[1]);
  }
  ~MenuProgram() {
    if (program_) {
      end();
    }
  }

  std::string nextLine() {
    std::string line;
    char byte = 0;
    while (read(output_[0], &byte, 1) == 1 && byte != '\n') {
      line += byte;
    }
    return line;
  }

  /// Its exit status once its input has ended.
  int end() {
    close(input_[1]);
    const int status = program_->wait();
    close(output_[0]);
    program_.reset();
    return status;
  }

 private:
  std::array<int, 2> input_ = {};
  std::array<int, 2> output_ = {};
  std::unique_ptr<testing::ChildWork> program_;
};

int runMain(const char* unit) {
  return testing::ChildWork([unit] {
           execl(KELVORA_EXAMPLE_MAIN, "main", unit, static_cast<char*>(nullptr));
           return 127;
         })
      .wait();
}

// Lines of samples may stand between: the interval is the user's.
std::string nextSettingsLine(MenuProgram& menu) {
  std::string line = menu.nextLine();
  while (line.starts_with("sample: ")) {
    line = menu.nextLine();
  }
  return line;
}

TEST(TwoHosts, AChangeInOneIsShownByTheOtherBecauseOfTheNotice) {
  const testing::TemporaryFolder folder;
  setenv("XDG_CONFIG_HOME", folder.path("config").c_str(), 1);
  const testing::SessionBus bus;
  MenuProgram menu;
  ASSERT_EQ(menu.nextLine(), "sample: 46°C");
  ASSERT_EQ(runMain("fahrenheit"), 0);
  EXPECT_EQ(nextSettingsLine(menu), "settings: 114°F");
  ASSERT_EQ(runMain("celsius"), 0);
  EXPECT_EQ(nextSettingsLine(menu), "settings: 46°C");
  EXPECT_EQ(menu.end(), 0);
}

TEST(TwoHosts, AWrongArgumentIsRefused) { EXPECT_EQ(runMain("kelvin"), 2); }

}  // namespace
}  // namespace kelvora
