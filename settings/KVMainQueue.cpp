#include "KelvoraCore/KVMainQueue.h"

#include <utility>

#include "platform/Platform.h"

namespace kelvora {

int KVMainQueue::descriptor() { return platform::Platform::current().mainQueue().descriptor(); }

int KVMainQueue::runPending() { return platform::Platform::current().mainQueue().runPending(); }

void KVMainQueue::async(std::function<void()> work) {
  platform::Platform::current().mainQueue().async(std::move(work));
}

}  // namespace kelvora
