#pragma once

#include <optional>
#include <string>

namespace kelvora::platform {

/// The files of the kernel's applesmc driver. Writing an index to "key_at_index" chooses the key
/// that "key_at_index_name", "_type", "_data_length" and "_data" then tell of.
class AppleSMCFiles {
 public:
  /// `folder` is the driver's device folder.
  explicit AppleSMCFiles(std::string folder) : folder_(std::move(folder)) {}
  virtual ~AppleSMCFiles() = default;
  virtual bool exist() const;
  /// Whether this user may choose keys.
  virtual bool mayChooseKeys() const;
  virtual std::optional<std::string> read(const std::string& name) const;
  virtual bool chooseKey(unsigned index);

 private:
  std::string path(const std::string& name) const { return folder_ + "/" + name; }
  std::string folder_;
};

}  // namespace kelvora::platform
