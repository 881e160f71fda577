// A tiny application for the tests of what starts and stops companions. It writes "report" beside
// itself, with a line for each descriptor it got, its process, session and folder, and the signals
// that it blocks and ignores, and then waits;
// a file "stubborn" beside it makes it ignore polite requests to end.
#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>

#include <unistd.h>

namespace fs = std::filesystem;

int main() {
  const fs::path folder = fs::read_symlink("/proc/self/exe").parent_path();
  if (fs::exists(folder / "stubborn")) {
    signal(SIGTERM, SIG_IGN);
  }
  std::string report;
  for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
    std::error_code gone;  // the descriptor of this very listing
    const fs::path target = fs::read_symlink(entry.path(), gone);
    if (!gone && target.string().find("/fd") == std::string::npos) {
      report += "descriptor " + entry.path().filename().string() + " " + target.string() + "\n";
    }
  }
  report += "process " + std::to_string(getpid()) + "\n";
  report += "session " + std::to_string(getsid(0)) + "\n";
  report += "folder " + fs::current_path().string() + "\n";
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("SigBlk:") || line.starts_with("SigIgn:")) {
      report += line + "\n";
    }
  }
  std::ofstream(folder / "report.new") << report;
  fs::rename(folder / "report.new", folder / "report");
  for (int second = 0; second < 300; ++second) {  // ends at last, also when a test forgot it
    sleep(1);
  }
}
