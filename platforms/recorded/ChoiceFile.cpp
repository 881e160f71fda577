#include "platforms/recorded/ChoiceFile.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <span>
#include <system_error>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include "KelvoraCore/Platform.h"

#include "platforms/posix/FileLock.h"
#include "platforms/posix/NewFiles.h"
#include "platforms/recorded/file/JSONFile.h"

namespace kelvora::platform {

namespace {

constexpr std::chrono::milliseconds kWait{2000};
// Twice the largest machine file.
constexpr off_t kMostBytes = 128 << 20;

std::string systemText(int error) { return std::generic_category().message(error); }

std::string folderOf(const std::string& path) {
  return std::filesystem::path(path).parent_path().string();
}

// Root also uses the files of the account whose folder it works in.
uid_t ownerFor(const std::string& path) {
  struct stat folder = {};
  const bool isRoot = geteuid() == 0 && stat(folderOf(path).c_str(), &folder) == 0;
  return isRoot ? folder.st_uid : geteuid();
}

}  // namespace

ChoiceFile::ChoiceFile(std::string path) : path_(std::move(path)) {}

bool ChoiceFile::exists() const {
  struct stat facts = {};
  return lstat(path_.c_str(), &facts) == 0;
}

bool ChoiceFile::isCurrent() const {
  struct stat facts = {};
  return facts_ && lstat(path_.c_str(), &facts) == 0 && facts_->st_dev == facts.st_dev &&
         facts_->st_ino == facts.st_ino && facts_->st_size == facts.st_size &&
         facts_->st_ctime == facts.st_ctime;
}

void ChoiceFile::refuse(const std::string& fault) const {
  throw MachineFileError(path_, "", fault);
}

void ChoiceFile::requireUsable(const struct stat& facts) const {
  if (!S_ISREG(facts.st_mode)) {
    refuse("is not a file");
  }
  if (facts.st_size > kMostBytes) {
    refuse("is larger than 128 MB");
  }
  if (facts.st_uid != ownerFor(path_)) {
    refuse("belongs to another account");
  }
  if ((facts.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
    refuse("can be written by other accounts");
  }
}

std::string ChoiceFile::readText(int descriptor) const {
  std::string text;
  std::vector<char> block(1 << 16);
  for (;;) {
    const ssize_t count = ::read(descriptor, block.data(), block.size());
    if (count < 0 && errno != EINTR) {
      refuse("cannot be read: " + systemText(errno));
    }
    if (count == 0) {
      return text;
    }
    text.append(block.data(), count < 0 ? 0 : static_cast<std::size_t>(count));
  }
}

const nlohmann::json& ChoiceFile::read() {
  facts_.reset();
  // Not blocking: there may be a pipe at the path.
  open_ = FileDescriptor(
      open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY));
  if (!open_.isOpen()) {
    refuse(errno == ENOENT  ? "no longer exists"
           : errno == ELOOP ? "is a symbolic link"
                            : "cannot be read: " + systemText(errno));
  }
  struct stat facts = {};
  if (fstat(open_.get(), &facts) != 0) {
    refuse("cannot be read: " + systemText(errno));
  }
  // Known again also when it turns out to be unusable.
  facts_ = facts;
  requireUsable(facts);
  nlohmann::json content = parsedJSON(readText(open_.get()), path_);
  requireFormat(JSONPlace(path_, content), kFormat);
  content_ = std::move(content);
  return content_;
}

FileDescriptor ChoiceFile::lock() const {
  FileDescriptor lock = lockFile(path_ + kLockEnding, kWait);
  if (!lock.isOpen()) {
    refuse(errno == ETIMEDOUT ? "another program keeps it locked"
                              : "cannot be locked: " + systemText(errno));
  }
  return lock;
}

void ChoiceFile::write(const nlohmann::json& content) {
  facts_.reset();
  constexpr auto kReplaceInvalid = nlohmann::json::error_handler_t::replace;
  const std::string text = content.dump(-1, ' ', /*ensure_ascii=*/false, kReplaceInvalid) + "\n";
  if (!replaceFile(path_, std::as_bytes(std::span(text)))) {
    refuse("cannot be written: " + systemText(errno));
  }
}

void ChoiceFile::remove() const {
  // Also without the lock: no other program may keep a user from this.
  const FileDescriptor lock = lockFile(path_ + kLockEnding, kWait);
  if (std::remove(path_.c_str()) != 0 && errno != ENOENT) {
    refuse("cannot be removed: " + systemText(errno));
  }
}

}  // namespace kelvora::platform
