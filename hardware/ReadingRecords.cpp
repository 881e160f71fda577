#include "hardware/ReadingRecords.h"

#include <utility>

namespace kelvora {

std::shared_ptr<ReadingRecords::Records> ReadingRecords::take(std::size_t room) {
  std::unique_ptr<Records> records;
  {
    const std::lock_guard lock(spare_->mutex);
    records = std::move(spare_->records);
  }
  if (!records) {
    records = std::make_unique<Records>();
  }
  if (records->size() < room) {
    records->resize(room);
  }
  // A new owner for each reading, so that a weak pointer into the one before stays expired.
  const auto giveBack = [spare = spare_](Records* used) {
    std::unique_ptr<Records> returned(used);
    const std::lock_guard lock(spare->mutex);
    spare->records.swap(returned);
  };
  return {records.release(), giveBack};
}

}  // namespace kelvora
