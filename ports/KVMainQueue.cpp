#include "KelvoraCore/KVMainQueue.h"

#include <utility>

#include "ports/Ports.h"

namespace kelvora {

int KVMainQueue::descriptor() { return Platform::current().mainQueue().descriptor(); }

int KVMainQueue::runPending() { return Platform::current().mainQueue().runPending(); }

void KVMainQueue::async(std::function<void()> work) {
  Platform::current().mainQueue().async(std::move(work));
}

}  // namespace kelvora
