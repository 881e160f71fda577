#include "tools/kelvora/RecordHistoryReport.h"

#include <cmath>

#include <nlohmann/json.hpp>

#include "tools/kelvora/Text.h"

namespace kelvora::tool {

namespace {

// To the beginning of the line, and nothing left of it.
constexpr char kRewrite[] = "\r\x1b[K";

std::string countText(std::size_t count, const std::string& noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

// "70" or "96.3"
std::string oneDecimal(double value) {
  constexpr double kTen = 10;
  const std::string text = jsonNumber(std::round(value * kTen) / kTen).dump();
  return text.ends_with(".0") ? text.substr(0, text.size() - 2) : text;
}

}  // namespace

void RecordHistoryReport::sample(Instant instant, const HistoryRecorder::Outcome& outcome,
                                 const std::optional<std::string>& logFault) {
  samples_ += outcome.saved;
  noteStore(instant, outcome);
  noteLog(instant, logFault);
  showProgress(instant, outcome);
}

void RecordHistoryReport::noteStore(Instant instant, const HistoryRecorder::Outcome& outcome) {
  if (outcome.isStoreNew) {
    event(instant, "another program cleared the stored data; recording continues in a new store",
          {{"event", "newStore"}});
  }
  if (outcome.fault.empty() != isSaving_) {
    isSaving_ = outcome.fault.empty();
    event(instant,
          isSaving_ ? "saved again: " + countText(outcome.saved, "sample")
                    : "not saved: " + printable(outcome.fault) + "; tried again at each sample",
          isSaving_ ? Json{{"event", "savedAgain"}}
                    : Json{{"event", "notSaved"}, {"reason", outcome.fault}});
  }
}

void RecordHistoryReport::noteLog(Instant instant, const std::optional<std::string>& fault) {
  if (fault.has_value() == isLogging_) {
    isLogging_ = !fault;
    event(instant, isLogging_ ? "the log is written again" : "not logged: " + printable(*fault),
          isLogging_ ? Json{{"event", "loggedAgain"}}
                     : Json{{"event", "notLogged"}, {"reason", *fault}});
  }
}

void RecordHistoryReport::showProgress(Instant instant, const HistoryRecorder::Outcome& outcome) {
  if (isJSON_) {
    event(instant, "",
          {{"event", "sample"},
           {"sensors", outcome.sensors.size()},
           {"saved", outcome.saved},
           {"waiting", outcome.waiting}});
    return;
  }
  const std::string waiting =
      outcome.waiting == 0 ? "" : ", " + std::to_string(outcome.waiting) + " not saved";
  const std::string text = isoTime(instant) + "  " + countText(outcome.sensors.size(), "sensor") +
                           ", " + countText(samples_, "sample") + waiting;
  const auto minute = std::chrono::floor<std::chrono::minutes>(instant.time_since_epoch());
  if (output_.isTerminal()) {
    const auto columns = static_cast<std::size_t>(output_.columns());
    const bool isWide = columns == 0 || displayWidth(text) < columns;
    writeText(output_, kRewrite + (isWide ? text : fitted(text, columns - 1)));
  } else if (minute_ != minute) {
    minute_ = minute;
    writeText(output_, text + "\n");
  }
}

void RecordHistoryReport::rule(Instant instant, const FiredRule& fired) {
  event(instant,
        "rule fired: " + printable(fired.sensorName) + " (" + printable(fired.sensorKey) +
            ") is at " + oneDecimal(fired.value) + ", the limit is " +
            oneDecimal(fired.rule.threshold.value_or(0)),
        {{"event", "rule"},
         {"rule", fired.rule.sensorKey.value_or("")},
         {"sensorKey", fired.sensorKey},
         {"sensorName", fired.sensorName},
         {"value", jsonNumber(fired.value)},
         {"threshold", jsonNumber(fired.rule.threshold.value_or(0))}});
}

void RecordHistoryReport::end(Instant instant, const HistoryRecorder::Outcome& outcome) {
  samples_ += outcome.saved;
  const std::string lost =
      outcome.waiting == 0 ? "" : ", " + std::to_string(outcome.waiting) + " could not be saved";
  event(instant, "recorded " + countText(samples_, "sample") + lost,
        {{"event", "end"}, {"samples", samples_}, {"notSaved", outcome.waiting}});
}

void RecordHistoryReport::event(Instant instant, const std::string& text, const Json& members) {
  const std::string time = isoTime(instant);
  if (isJSON_) {
    Json line{{"time", time}};
    line.update(members);
    writeJsonLine(output_, line);
    return;
  }
  writeText(output_, (output_.isTerminal() ? kRewrite : "") + time + "  " + text + "\n");
}

}  // namespace kelvora::tool
