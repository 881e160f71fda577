#include "KelvoraCore/Platform.h"

#include "hardware/SMCConnection.h"

namespace kelvora {

const std::shared_ptr<SMCConnection>& SMCConnection::ofProcess() {
  // Never destroyed: hosts may still read while the process ends.
  static const auto* const connection = new std::shared_ptr<SMCConnection>(
      std::make_shared<SMCConnection>(Platform::current().smc()));
  return *connection;
}

std::shared_ptr<SMCConnection> SMCConnection::to(const Platform& platform) {
  return platform.isCurrent() ? ofProcess() : std::make_shared<SMCConnection>(platform.smc());
}

}  // namespace kelvora
