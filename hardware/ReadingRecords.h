#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>

#include "KelvoraCore/Sensor.h"

namespace kelvora {

/// The memory of readings. The records of one reading stand in one piece of it, which lives as long
/// as any of them is held; then it waits for the next reading, texts' memory and all, so that a
/// host that reads once a second and lets go of what it read allocates next to nothing.
///
/// One thread at a time takes; readings may be let go on any thread, also after this object's end.
class ReadingRecords {
 public:
  using Records = std::vector<Sensor>;

  /// At least `room` records in whatever state they were left. Share a record with the answer as
  /// its owner.
  std::shared_ptr<Records> take(std::size_t room);

 private:
  // At most one piece waits: two serve a host that keeps a reading until it has the next.
  struct Spare {
    std::mutex mutex;
    std::unique_ptr<Records> records;
  };

  std::shared_ptr<Spare> spare_ = std::make_shared<Spare>();
};

}  // namespace kelvora
