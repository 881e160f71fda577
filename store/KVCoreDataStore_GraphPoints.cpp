#include "KelvoraCore/KVCoreDataStore.h"

#include "store/TypedFetch.h"

namespace kelvora {

KVGraphPointPtr KVCoreDataStore::createGraphPoint() {
  return createGraphPointInContext(viewContext());
}

KVGraphPointPtr KVCoreDataStore::createGraphPointInContext(const ManagedObjectContextPtr& context) {
  return insertNew<KVGraphPoint>(context);
}

}  // namespace kelvora
