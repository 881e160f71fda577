#include "hardware/PrivilegedTool.h"

#include <string>

#include "KelvoraCore/KVUtils.h"

#include "ports/Ports.h"

namespace kelvora {

std::optional<platform::ChildRequest> privilegedToolRequest(Platform& platform,
                                                            std::string_view value,
                                                            std::string_view key) {
  const std::optional<std::string> tool = KVUtils::smcExePath(platform);
  if (!tool || !platform.files().exists(*tool)) {
    return std::nullopt;
  }
  platform::ChildRequest request;
  request.path = *tool;
  request.arguments = {"-k", std::string(key), "-w", std::string(value)};
  request.qualityOfService = platform::kQualityOfServiceUserInteractive;
  request.isOwnProgram = true;
  return request;
}

}  // namespace kelvora
