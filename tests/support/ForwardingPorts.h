#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "ports/Ports.h"

// Doubles that forward to another port. Each hook that is set replaces an operation; `behind` stays
// reachable for the rest. Hooks are set before the port is used by several threads.
namespace kelvora::testing {

/// Puts a Double before one of the platform's ports, e.g. `wrapPort<ForwardingFiles>(
/// platform.ports().files)`, and returns it; the platform owns it.
template <typename Double, typename Port>
Double& wrapPort(std::unique_ptr<Port>& port) {
  auto made = std::make_unique<Double>(std::move(port));
  Double& result = *made;
  port = std::move(made);
  return result;
}

class ForwardingSystemControls : public platform::SystemControls {
 public:
  explicit ForwardingSystemControls(std::unique_ptr<platform::SystemControls> port)
      : behind(std::move(port)) {}
  int byName(const char* name, void* value, std::size_t* size) override {
    names.emplace_back(name);
    return onByName ? onByName(name, value, size) : behind->byName(name, value, size);
  }
  int byNumber(std::span<const int> name, void* value, std::size_t* size) override {
    return onByNumber ? onByNumber(name, value, size) : behind->byNumber(name, value, size);
  }
  std::unique_ptr<platform::SystemControls> behind;
  std::vector<std::string> names;  ///< asked for by name, in order
  std::function<int(const char*, void*, std::size_t*)> onByName;
  std::function<int(std::span<const int>, void*, std::size_t*)> onByNumber;
};

class ForwardingIORegistry : public platform::IORegistry {
 public:
  using Entries = std::optional<std::vector<std::unique_ptr<platform::RegistryEntry>>>;
  explicit ForwardingIORegistry(std::unique_ptr<platform::IORegistry> port)
      : behind(std::move(port)) {}
  Entries matchingServices(std::string_view serviceClass) override {
    classes.emplace_back(serviceClass);
    return onMatchingServices ? onMatchingServices(serviceClass)
                              : behind->matchingServices(serviceClass);
  }
  std::unique_ptr<platform::IORegistry> behind;
  std::vector<std::string> classes;  ///< queried, in order
  std::function<Entries(std::string_view)> onMatchingServices;
};

class ForwardingHIDEventSystem : public platform::HIDEventSystem {
 public:
  explicit ForwardingHIDEventSystem(std::unique_ptr<platform::HIDEventSystem> port)
      : behind(std::move(port)) {}
  std::unique_ptr<platform::HIDEventSystemClient> createClient() override {
    ++createdClients;
    return onCreateClient ? onCreateClient() : behind->createClient();
  }
  std::unique_ptr<platform::HIDEventSystem> behind;
  int createdClients = 0;
  std::function<std::unique_ptr<platform::HIDEventSystemClient>()> onCreateClient;
};

class ForwardingChildProcesses : public platform::ChildProcesses {
 public:
  explicit ForwardingChildProcesses(std::unique_ptr<platform::ChildProcesses> port)
      : behind(std::move(port)) {}
  platform::ChildLaunch launch(const platform::ChildRequest& request) override {
    requests.push_back(request);
    return onLaunch ? onLaunch(request) : behind->launch(request);
  }
  std::unique_ptr<platform::ChildProcesses> behind;
  std::vector<platform::ChildRequest> requests;  ///< in order
  std::function<platform::ChildLaunch(const platform::ChildRequest&)> onLaunch;
};

class ForwardingHostStatistics : public platform::HostStatistics {
 public:
  explicit ForwardingHostStatistics(std::unique_ptr<platform::HostStatistics> port)
      : behind(std::move(port)) {}
  std::optional<std::vector<platform::ProcessorTicks>> processorTicks() override {
    return onProcessorTicks ? onProcessorTicks() : behind->processorTicks();
  }
  std::optional<platform::MemoryPages> memoryPages() override {
    return onMemoryPages ? onMemoryPages() : behind->memoryPages();
  }
  std::optional<std::uint32_t> pageSizeBytes() override { return behind->pageSizeBytes(); }
  double uptimeSeconds() override {
    return onUptimeSeconds ? onUptimeSeconds() : behind->uptimeSeconds();
  }
  std::optional<platform::FileSystemSize> fileSystemSize(std::string_view path) override {
    return onFileSystemSize ? onFileSystemSize(path) : behind->fileSystemSize(path);
  }
  std::unique_ptr<platform::HostStatistics> behind;
  std::function<std::optional<std::vector<platform::ProcessorTicks>>()> onProcessorTicks;
  std::function<std::optional<platform::MemoryPages>()> onMemoryPages;
  std::function<double()> onUptimeSeconds;
  std::function<std::optional<platform::FileSystemSize>(std::string_view)> onFileSystemSize;
};

class ForwardingFiles : public platform::Files {
 public:
  explicit ForwardingFiles(std::unique_ptr<platform::Files> port) : behind(std::move(port)) {}
  bool exists(const std::string& path) override {
    return onExists ? onExists(path) : behind->exists(path);
  }
  bool copy(const std::string& from, const std::string& to) override {
    return onCopy ? onCopy(from, to) : behind->copy(from, to);
  }
  std::optional<platform::FileAttributes> attributes(const std::string& path) override {
    return onAttributes ? onAttributes(path) : behind->attributes(path);
  }
  std::optional<std::vector<std::string>> list(const std::string& folder) override {
    return onList ? onList(folder) : behind->list(folder);
  }
  bool remove(const std::string& path) override {
    return onRemove ? onRemove(path) : behind->remove(path);
  }
  bool createFolder(const std::string& path) override {
    return onCreateFolder ? onCreateFolder(path) : behind->createFolder(path);
  }
  bool replace(const std::string& path, std::span<const std::byte> bytes,
               std::error_code& error) override {
    return onReplace ? onReplace(path, bytes, error) : behind->replace(path, bytes, error);
  }
  std::unique_ptr<platform::HeldLock> lock(const std::string& path, std::chrono::milliseconds wait,
                                           std::error_code& error) override {
    return onLock ? onLock(path, wait, error) : behind->lock(path, wait, error);
  }
  std::optional<std::string> documentsFolder() override {
    return onDocumentsFolder ? onDocumentsFolder() : behind->documentsFolder();
  }
  std::optional<std::string> applicationSupportFolder() override {
    return onApplicationSupportFolder ? onApplicationSupportFolder()
                                      : behind->applicationSupportFolder();
  }
  std::optional<std::string> groupContainer(const std::string& groupIdentifier) override {
    return onGroupContainer ? onGroupContainer(groupIdentifier)
                            : behind->groupContainer(groupIdentifier);
  }
  std::unique_ptr<platform::Files> behind;
  std::function<bool(const std::string&)> onExists;
  std::function<bool(const std::string&, const std::string&)> onCopy;
  std::function<std::optional<platform::FileAttributes>(const std::string&)> onAttributes;
  std::function<std::optional<std::vector<std::string>>(const std::string&)> onList;
  std::function<bool(const std::string&)> onRemove;
  std::function<bool(const std::string&)> onCreateFolder;
  std::function<bool(const std::string&, std::span<const std::byte>, std::error_code&)> onReplace;
  std::function<std::unique_ptr<platform::HeldLock>(const std::string&, std::chrono::milliseconds,
                                                    std::error_code&)>
      onLock;
  std::function<std::optional<std::string>()> onDocumentsFolder;
  std::function<std::optional<std::string>()> onApplicationSupportFolder;
  std::function<std::optional<std::string>(const std::string&)> onGroupContainer;
};

class ForwardingSystemFacts : public platform::SystemFacts {
 public:
  explicit ForwardingSystemFacts(std::unique_ptr<platform::SystemFacts> port)
      : behind(std::move(port)) {}
  std::optional<platform::OSVersion> osVersion() override {
    return onOSVersion ? onOSVersion() : behind->osVersion();
  }
  std::string osVersionText() override { return behind->osVersionText(); }
  std::string localizedHostName() override { return behind->localizedHostName(); }
  std::string hostName() override { return behind->hostName(); }
  std::vector<std::string> hostAddresses() override { return behind->hostAddresses(); }
  std::string primaryHostAddress() override { return behind->primaryHostAddress(); }
  std::vector<std::string> mountedVolumePaths() override {
    return onMountedVolumePaths ? onMountedVolumePaths() : behind->mountedVolumePaths();
  }
  std::optional<platform::DiskDescription> diskDescription(std::string_view path) override {
    return onDiskDescription ? onDiskDescription(path) : behind->diskDescription(path);
  }
  std::vector<platform::Display> activeDisplays() override {
    return onActiveDisplays ? onActiveDisplays() : behind->activeDisplays();
  }
  std::unique_ptr<platform::SystemFacts> behind;
  std::function<std::optional<platform::OSVersion>()> onOSVersion;
  std::function<std::vector<std::string>()> onMountedVolumePaths;
  std::function<std::optional<platform::DiskDescription>(std::string_view)> onDiskDescription;
  std::function<std::vector<platform::Display>()> onActiveDisplays;
};

}  // namespace kelvora::testing
