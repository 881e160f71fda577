#include "tests/macos/frameworks/Bundles.h"

#include <algorithm>
#include <filesystem>

#include <CoreFoundation/CoreFoundation.h>

#include "platforms/macos/CFValues.h"
#include "platforms/posix/ResourceFolders.h"
#include "tests/macos/frameworks/Values.h"

namespace kelvora::testing::mac {

namespace {

class Bundle : public Object {
 public:
  explicit Bundle(std::optional<PropertyListValue::Dictionary> dictionary)
      : Object("CFBundle"), information_(std::move(dictionary)) {}
  // The bundle keeps the object.
  CFDictionaryRef information() {
    if (held_ == nullptr && information_) {
      const CFTypeRef made = newObject(*information_);
      held_ = Objects::shared().get("a bundle", made);
      Objects::shared().hold(*held_);
      CFRelease(made);
    }
    return referenceTo<CFDictionaryRef>(held_);
  }
  void dispose() override {
    if (held_ != nullptr) {
      Objects::shared().drop(*held_);
    }
  }

 private:
  std::optional<PropertyListValue::Dictionary> information_;
  Object* held_ = nullptr;
};

CFURLRef newURL(const std::optional<std::string>& path) {
  return path ? referenceTo<CFURLRef>(Objects::shared().create<URL>(*path)) : nullptr;
}

CFArrayRef newArray(const std::vector<std::string>& texts) {
  return static_cast<CFArrayRef>(newObject(PropertyListValue::Array(texts.begin(), texts.end())));
}

Bundle* mainBundle(const std::string& function, CFBundleRef reference) {
  if (reference != CFBundleGetMainBundle()) {
    Ledger::misuse(function, "the bundle is not the main one");
  }
  return Objects::shared().get<Bundle>(function, reference);
}

}  // namespace

Bundles& Bundles::shared() {
  static Bundles bundles;
  return bundles;
}

}  // namespace kelvora::testing::mac

using namespace kelvora::testing::mac;  // NOLINT: the functions of the system are global

CFBundleRef CFBundleGetMainBundle() {
  static auto* const bundle = Objects::shared().createHeld<Bundle>(Bundles::shared().information);
  return referenceTo<CFBundleRef>(bundle);
}

CFBundleRef CFBundleCreate(CFAllocatorRef, CFURLRef url) {
  const auto* found = Objects::shared().get<URL>("CFBundleCreate", url);
  const bool fails = Ledger::shared().called("CFBundleCreate", described(url));
  if (found == nullptr || fails || !Bundles::shared().others.contains(found->path)) {
    return nullptr;
  }
  return referenceTo<CFBundleRef>(
      Objects::shared().create<Bundle>(Bundles::shared().others.at(found->path)));
}

CFDictionaryRef CFBundleGetInfoDictionary(CFBundleRef bundle) {
  auto* found = Objects::shared().get<Bundle>("CFBundleGetInfoDictionary", bundle);
  const bool fails = Ledger::shared().called("CFBundleGetInfoDictionary");
  return found == nullptr || fails ? nullptr : found->information();
}

CFURLRef CFBundleCopyExecutableURL(CFBundleRef bundle) {
  mainBundle("CFBundleCopyExecutableURL", bundle);
  const bool fails = Ledger::shared().called("CFBundleCopyExecutableURL");
  return fails ? nullptr : newURL(Bundles::shared().executable);
}

CFURLRef CFBundleCopyResourcesDirectoryURL(CFBundleRef bundle) {
  mainBundle("CFBundleCopyResourcesDirectoryURL", bundle);
  const bool fails = Ledger::shared().called("CFBundleCopyResourcesDirectoryURL");
  return fails ? nullptr : newURL(Bundles::shared().resources);
}

CFURLRef CFBundleCopyResourceURL(CFBundleRef bundle, CFStringRef name, CFStringRef type,
                                 CFStringRef subfolder) {
  constexpr const char* kFunction = "CFBundleCopyResourceURL";
  mainBundle(kFunction, bundle);
  const bool fails =
      Ledger::shared().called(kFunction, described(name), described(type), described(subfolder));
  const auto file = textArgument(kFunction, name);
  if (fails || !file || !Bundles::shared().resources) {
    return nullptr;
  }
  std::string path = *Bundles::shared().resources + "/" + *file;
  path += type == nullptr ? "" : "." + textArgument(kFunction, type).value_or("");
  return std::filesystem::exists(path) ? newURL(path) : nullptr;
}

CFArrayRef CFBundleCopyBundleLocalizations(CFBundleRef bundle) {
  mainBundle("CFBundleCopyBundleLocalizations", bundle);
  const bool fails = Ledger::shared().called("CFBundleCopyBundleLocalizations");
  if (fails || !Bundles::shared().resources) {
    return nullptr;
  }
  return newArray(kelvora::platform::localizationsIn({*Bundles::shared().resources}));
}

CFArrayRef CFBundleCopyPreferredLocalizationsFromArray(CFArrayRef localizations) {
  constexpr const char* kFunction = "CFBundleCopyPreferredLocalizationsFromArray";
  const bool fails = Ledger::shared().called(kFunction, described(localizations));
  const auto* array = Objects::shared().get<Array>(kFunction, localizations);
  if (array == nullptr || fails) {
    return nullptr;
  }
  std::vector<std::string> available;
  for (const Object* item : array->items) {
    available.push_back(dynamic_cast<const String&>(*item).utf8());
  }
  std::vector<std::string> chosen;
  for (const std::string& language : Bundles::shared().languages) {
    if (std::find(available.begin(), available.end(), language) != available.end()) {
      chosen.push_back(language);
    }
  }
  if (chosen.empty() && !available.empty()) {
    chosen.push_back(available.front());
  }
  return newArray(chosen);
}
