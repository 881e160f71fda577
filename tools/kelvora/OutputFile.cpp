#include "tools/kelvora/OutputFile.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <random>
#include <system_error>

#include "tools/kelvora/Command.h"

namespace kelvora::tool {

namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(const std::string& path, const std::error_code& reason) {
  throw CommandError(kExitNothingRead, path + ": could not be written: " + reason.message());
}

std::error_code lastError() { return {errno, std::generic_category()}; }

// Returns what is wrong.
std::error_code written(const std::string& path, const char* mode, std::string_view content) {
  std::FILE* const file = std::fopen(path.c_str(), mode);
  if (file == nullptr) {
    return lastError();
  }
  std::error_code error;
  if (std::fwrite(content.data(), 1, content.size(), file) != content.size()) {
    error = lastError();
  }
  // Buffered data may fail only here.
  if (std::fclose(file) != 0 && !error) {
    error = lastError();
  }
  return error;
}

std::string unusedNameBeside(const std::string& path) {
  std::random_device random;
  return path + "." + std::to_string(random()) + ".new";
}

// The permissions of the file that is replaced.
void keepPermissions(const fs::file_status& old, const std::string& path) {
  if (fs::exists(old)) {
    std::error_code ignored;
    fs::permissions(path, old.permissions(), ignored);
  }
}

}  // namespace

void writeFile(const std::string& path, std::string_view content) {
  std::error_code error;
  const fs::file_status old = fs::status(path, error);
  if (fs::exists(old) && !fs::is_regular_file(old)) {
    if (const std::error_code failure = written(path, "wb", content)) {
      fail(path, failure);
    }
    return;
  }
  const std::string target = fs::exists(old) ? fs::canonical(path, error).string() : path;
  const std::string beside = unusedNameBeside(target);
  std::error_code failure = written(beside, "wbx", content);
  if (!failure) {
    keepPermissions(old, beside);
    fs::rename(beside, target, failure);
  }
  if (failure) {
    fs::remove(beside, error);
    fail(path, failure);
  }
}

}  // namespace kelvora::tool
