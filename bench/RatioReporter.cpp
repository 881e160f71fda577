#include "RatioReporter.h"

#include <algorithm>
#include <cstddef>
#include <iomanip>

namespace kelvora::bench {

void RatioReporter::ReportRuns(const std::vector<Run>& runs) {
  for (const Run& run : runs) {
    if (run.run_type != Run::RT_Iteration || run.error_occurred) {
      continue;
    }
    secondsPerIteration_[run.run_name.function_name].push_back(run.cpu_accumulated_time /
                                                               static_cast<double>(run.iterations));
  }
  // Of several repetitions only the statistics are worth a line.
  const bool isRepetition =
      runs.front().run_type == Run::RT_Iteration && runs.front().repetitions > 1;
  if (!isRepetition) {
    ConsoleReporter::ReportRuns(runs);
  }
}

double RatioReporter::median(const std::string& benchmark) const {
  const auto found = secondsPerIteration_.find(benchmark);
  if (found == secondsPerIteration_.end()) {
    return 0;
  }
  std::vector<double> seconds = found->second;
  const auto middle = seconds.begin() + static_cast<std::ptrdiff_t>(seconds.size() / 2);
  std::nth_element(seconds.begin(), middle, seconds.end());
  return *middle;
}

void RatioReporter::Finalize() {
  std::ostream& out = GetOutputStream();
  out << "\nRatios of medians\n" << std::fixed << std::setprecision(3);
  for (const Goal& goal : goals_) {
    const double yardstick = median(goal.yardstick);
    if (yardstick == 0 || median(goal.benchmark) == 0) {
      continue;
    }
    const double ratio = median(goal.benchmark) / yardstick;
    out << "  " << std::left << std::setw(62) << goal.title << std::right << std::setw(8) << ratio;
    if (goal.atMost) {
      out << "   goal: at most " << *goal.atMost << (ratio <= *goal.atMost ? "" : "   MISSED");
    }
    out << '\n';
  }
}

}  // namespace kelvora::bench
