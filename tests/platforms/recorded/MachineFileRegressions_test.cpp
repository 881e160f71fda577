#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "platforms/recorded/file/MachineFile.h"
#include "tests/support/MachineWalk.h"

namespace kelvora::testing {
namespace {

// Either a machine whose ports all work, or a refusal on one line. Returns how many.
int replay(const std::string& folder) {
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    SCOPED_TRACE(entry.path());
    ++files;
    try {
      walkMachine(platform::readMachineFile(entry.path()));
    } catch (const platform::MachineFileError& error) {
      EXPECT_EQ(std::string(error.what()).find('\n'), std::string::npos);
    }
  }
  return files;
}

TEST(MachineFileRegressions, HostileFilesAreRefusedOrAnswerThroughEveryPort) {
  EXPECT_GT(replay(KELVORA_TEST_DATA "/../fuzz/regressions/machine_file"), 0);
}

TEST(MachineFileRegressions, EveryRecordedMachineAnswersThroughEveryPort) {
  EXPECT_EQ(replay(KELVORA_MACHINES), 5);
}

}  // namespace
}  // namespace kelvora::testing
