#pragma once

#include "KelvoraCore/KVMainQueue.h"

namespace kelvora::tool {

/// Sends the notices of what a command changed: they are posted from the main queue.
inline void sendNotices() {
  while (KVMainQueue::runPending() > 0) {
  }
}

}  // namespace kelvora::tool
