#pragma once

#include <csignal>
#include <stdexcept>

#include <sys/resource.h>

namespace kelvora::testing {

/// Lowers a limit of this process while it lives, e.g. (RLIMIT_NOFILE, 3) leaves no descriptor to
/// open, (RLIMIT_FSIZE, 10) fails every write beyond ten bytes as a full disk does.
class ResourceLimit {
 public:
  ResourceLimit(__rlimit_resource resource, rlim_t most) : resource_(resource) {
    std::signal(SIGXFSZ, SIG_IGN);
    if (getrlimit(resource_, &before_) != 0) {
      throw std::runtime_error("no resource limit");
    }
    const rlimit lowered{most, before_.rlim_max};
    setrlimit(resource_, &lowered);
  }
  ~ResourceLimit() { setrlimit(resource_, &before_); }
  ResourceLimit(const ResourceLimit&) = delete;
  ResourceLimit& operator=(const ResourceLimit&) = delete;

 private:
  __rlimit_resource resource_;
  rlimit before_ = {};
};

}  // namespace kelvora::testing
