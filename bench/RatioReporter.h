#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

namespace kelvora::bench {

/// How many times as long one benchmark may take as another; without a limit the ratio only
/// informs.
struct Goal {
  std::string title;
  std::string benchmark;
  std::string yardstick;
  std::optional<double> atMost;
};

/// Prints what the console reporter prints, and at the end a table of the goals, with ratios of the
/// medians over all repetitions.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  explicit RatioReporter(std::vector<Goal> goals) : goals_(std::move(goals)) {}
  void ReportRuns(const std::vector<Run>& runs) override;
  void Finalize() override;

 private:
  /// Processor seconds per iteration, which other programs disturb less than the time of day; 0
  /// when the benchmark did not run.
  double median(const std::string& benchmark) const;

  std::vector<Goal> goals_;
  std::map<std::string, std::vector<double>> secondsPerIteration_;
};

}  // namespace kelvora::bench
