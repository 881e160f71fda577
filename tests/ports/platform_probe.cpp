// A host that says which machine its platform is.
#include <cstdio>

#include "KelvoraCore/Platform.h"

int main() {
  const kelvora::Platform& platform = kelvora::Platform::current();
  std::printf("%s (%s)\n", platform.title().c_str(), platform.isLive() ? "live" : "recorded");
  return 0;
}
