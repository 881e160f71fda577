// A settings window in a terminal: chooses the unit of temperatures, and all programs follow.
#include <cstdio>
#include <string>

#include "KelvoraCore/KVMainQueue.h"
#include "KelvoraCore/KVSettings.h"

int main(int count, char** arguments) {
  const std::string unit = count == 2 ? arguments[1] : "";
  if (unit != "celsius" && unit != "fahrenheit") {
    std::fprintf(stderr, "usage: %s celsius|fahrenheit\n", arguments[0]);
    return 2;
  }
  kelvora::KVSettings::shared().setTempUnitCelsius(unit == "celsius");
  kelvora::KVMainQueue::runPending();  // sends the notification
  return 0;
}
