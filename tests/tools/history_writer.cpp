// Writes the history of a sensor into the store, as a program that records would:
//   history_writer KEY NAME TYPE LOWER UPPER
// adds the sensor to the category of that type unless it is there, and a point for each line
// "<time range> <seconds since 1970> <value>" of its input. Without input it adds the sensor alone.

#include <cstdio>
#include <cstdlib>
#include <string>

#include "KelvoraCore/KVCoreDataStore.h"

int main(int argc, char** argv) {
  if (argc != 6) {
    return 2;
  }
  kelvora::KVCoreDataStore store(-1);
  const auto context = store.viewContext();
  const auto category = store.createOrUpdateCategoryWithName(argv[3], context);
  category->setType(static_cast<std::int16_t>(std::atoi(argv[3])));
  const auto sensor = store.createSensorWithKey(argv[1], context);
  sensor->setName(argv[2]);
  sensor->setFullName(argv[2]);
  sensor->setMinValue(std::atof(argv[4]));
  sensor->setMaxValue(std::atof(argv[5]));
  sensor->setCategory(category);
  int timeRange = 0;
  double seconds = 0;
  double value = 0;
  while (std::scanf("%d %lf %lf", &timeRange, &seconds, &value) == 3) {
    const auto point = store.createGraphPoint();
    point->setTimeRange(static_cast<std::int16_t>(timeRange));
    point->setPointX(seconds);
    point->setPointY(value);
    sensor->addToGraphPoints(point);
  }
  if (const auto failure = context->save()) {
    std::fprintf(stderr, "%s\n", failure->c_str());
    return 1;
  }
  return 0;
}
