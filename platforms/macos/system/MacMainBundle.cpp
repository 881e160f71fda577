#include "platforms/macos/system/MacMainBundle.h"

#include <algorithm>

#include <dlfcn.h>
#include <unistd.h>

#include "platforms/macos/CFValues.h"
#include "platforms/macos/FileURL.h"
#include "platforms/posix/ResourceFolders.h"

namespace kelvora::platform {

namespace {

// A resource of the bundle; empty if it is missing.
std::string bundleResource(std::string_view name, std::string_view type) {
  const auto nameText = makeText(name);
  const auto typeText = type.empty() ? CFOwned<CFStringRef>() : makeText(type);
  if (!nameText) {
    return "";
  }
  const CFOwned<CFURLRef> url(
      CFBundleCopyResourceURL(CFBundleGetMainBundle(), nameText.get(), typeText.get(), nullptr));
  return pathOf(url.get());
}

// A file in one of the folders; empty if it is missing.
std::string fileIn(const std::vector<std::string>& folders, const std::string& file) {
  for (const std::string& folder : folders) {
    std::string path = std::string(folder).append("/").append(file);
    if (access(path.c_str(), F_OK) == 0) {
      return path;
    }
  }
  return "";
}

void append(std::vector<std::string>& codes, CFArrayRef texts) {
  for (CFIndex i = 0; texts != nullptr && i < CFArrayGetCount(texts); ++i) {
    if (const CFStringRef text = asText(CFArrayGetValueAtIndex(texts, i)); text != nullptr) {
      codes.push_back(textOf(text));
    }
  }
}

// Of the codes those that suit the user, the best first.
std::vector<std::string> preferred(const std::vector<std::string>& codes) {
  const auto available = makeObject(PropertyListValue::Array(codes.begin(), codes.end()));
  if (!available) {
    return {};
  }
  const CFOwned<CFArrayRef> chosen(
      CFBundleCopyPreferredLocalizationsFromArray(static_cast<CFArrayRef>(available.get())));
  std::vector<std::string> result;
  append(result, chosen.get());
  return result;
}

// The file that this code is in: the framework's library, or a program that links the static one.
std::string ownFile() {
  Dl_info information = {};
  const bool isKnown = dladdr(reinterpret_cast<const void*>(&ownFile), &information) != 0;
  return isKnown && information.dli_fname != nullptr ? information.dli_fname : "";
}

void appendIfNew(std::vector<std::string>& list, const std::string& text) {
  if (std::find(list.begin(), list.end(), text) == list.end()) {
    list.push_back(text);
  }
}

}  // namespace

MacMainBundle::MacMainBundle() : MacMainBundle(ownFile()) {}

MacMainBundle::MacMainBundle(const std::string& library)
    : libraryResources_(library.substr(0, library.rfind('/') + 1) + "Resources") {}

std::string MacMainBundle::executablePath() {
  const CFOwned<CFURLRef> url(CFBundleCopyExecutableURL(CFBundleGetMainBundle()));
  return pathOf(url.get());
}

std::optional<std::string> MacMainBundle::resourcePath(std::string_view name,
                                                       std::string_view type) {
  if (name.empty()) {
    return std::nullopt;
  }
  std::string path = bundleResource(name, type);
  const std::string file = std::string(name) + (type.empty() ? "" : ".") + std::string(type);
  if (path.empty()) {
    path = fileIn(otherFolders(), file);
  }
  if (!path.empty()) {
    return path;
  }
  if (!type.empty()) {
    missing_.log(file, type, resourceFolders());
  }
  return std::nullopt;
}

std::vector<std::string> MacMainBundle::otherFolders() {
  std::vector<std::string> folders = resourceFoldersOf(executablePath());
  appendIfNew(folders, libraryResources_);
  return folders;
}

std::vector<std::string> MacMainBundle::resourceFolders() {
  const CFOwned<CFURLRef> url(CFBundleCopyResourcesDirectoryURL(CFBundleGetMainBundle()));
  std::vector<std::string> folders = otherFolders();
  const std::string own = pathOf(url.get());
  if (!own.empty() && std::find(folders.begin(), folders.end(), own) == folders.end()) {
    folders.insert(folders.begin(), own);
  }
  return folders;
}

std::vector<std::string> MacMainBundle::preferredLocalizations() {
  const CFOwned<CFArrayRef> own(CFBundleCopyBundleLocalizations(CFBundleGetMainBundle()));
  std::vector<std::string> codes;
  append(codes, own.get());
  for (const std::string& code : localizationsIn(otherFolders())) {
    appendIfNew(codes, code);
  }
  return preferred(codes);
}

std::optional<PropertyListValue::Dictionary> MacMainBundle::informationDictionary(
    const std::string& bundlePath) {
  const CFOwned<CFURLRef> url =
      bundlePath.empty() ? CFOwned<CFURLRef>() : makeFolderURL(bundlePath);
  const CFOwned<CFBundleRef> opened(url ? CFBundleCreate(kCFAllocatorDefault, url.get()) : nullptr);
  const CFBundleRef bundle = bundlePath.empty() ? CFBundleGetMainBundle() : opened.get();
  const CFDictionaryRef information =
      bundle == nullptr ? nullptr : CFBundleGetInfoDictionary(bundle);
  return information == nullptr ? std::nullopt : std::optional(dictionaryOf(information));
}

}  // namespace kelvora::platform
