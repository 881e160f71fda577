#include "engine/ObjectIDs.h"

#include <algorithm>
#include <exception>
#include <random>

#include "engine/Schema.h"

namespace kelvora::engine {

namespace {

constexpr const char* kCounter = "block";
constexpr int kCountBits = 16;
constexpr std::int64_t kMostOfBlock = (std::int64_t{1} << kCountBits) - 1;
constexpr std::int64_t kWidestStep = std::int64_t{1} << 28;
// Blocks of programs that could not read the file. They are not recorded, so that the recorded
// blocks stay below them.
constexpr std::int64_t kFirstUnrecorded = std::int64_t{1} << 46;

std::int64_t randomBelow(std::int64_t bound) {
  std::random_device random;
  return std::uniform_int_distribution<std::int64_t>(0, bound - 1)(random);
}

std::int64_t newBlock(StoreFile* file, std::int64_t last) {
  if (file != nullptr) {
    try {
      return std::max(last, readCounter(*file, kCounter)) + 1 + randomBelow(kWidestStep);
    } catch (const std::exception&) {
      // The save reports the failure.
    }
  }
  return last != 0 ? last + 1 + randomBelow(kWidestStep)
                   : kFirstUnrecorded + randomBelow(kFirstUnrecorded / 2);
}

}  // namespace

std::int64_t ObjectIDs::next(StoreFile* file) {
  if (block_ == 0 || given_ == kMostOfBlock) {
    block_ = newBlock(file, block_);
    given_ = 0;
  }
  return (block_ << kCountBits) + ++given_;
}

void noteBlocks(StoreFile& file, const std::vector<RowChange>& changes) {
  std::int64_t highest = 0;
  for (const RowChange& change : changes) {
    const std::int64_t block = change.id >> kCountBits;
    if (change.kind == RowChange::Kind::kInsert && block < kFirstUnrecorded) {
      highest = std::max(highest, block);
    }
  }
  if (highest > 0 && highest > readCounter(file, kCounter)) {
    writeCounter(file, kCounter, highest);
  }
}

}  // namespace kelvora::engine
