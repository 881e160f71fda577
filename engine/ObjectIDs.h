#pragma once

#include <cstdint>
#include <vector>

#include "engine/SaveTransaction.h"
#include "engine/StoreFile.h"

namespace kelvora::engine {

/// Gives new objects ids that no other program gives, without writing to the file and so without
/// waiting for one that writes.
///
/// An id is a block number with a count of 16 bits, so that rows that are inserted together are
/// neighbours in the file. A block is chosen at random above the last one that the file has
/// recorded; saves record the blocks in use (see noteBlocks). Two programs that read the same last
/// block choose the same one once in 2^28. One thread at a time.
class ObjectIDs {
 public:
  /// Greater than every id before it. `file` may be null or unreadable now.
  std::int64_t next(StoreFile* file);

 private:
  std::int64_t block_ = 0;
  std::int64_t given_ = 0;  // of the block
};

/// Records the blocks of the objects that a save inserts, within its transaction.
void noteBlocks(StoreFile& file, const std::vector<RowChange>& changes);

}  // namespace kelvora::engine
