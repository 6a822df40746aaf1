#include "vantorcore/platform/Bundle.h"

#include <dlfcn.h>
#include <libintl.h>
#include <link.h>
#include <locale.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "vantorcore/platform/ProcessInfo.h"
#include "vantorcore/platform/PropertyList.h"

namespace lx {

namespace fs = std::filesystem;

namespace {

constexpr StringView kDefaultTable = u"Localizable";
constexpr StringView kFrameworkTable = u"VantorCore";

String pathString(const fs::path& p) { return fromUTF8(p.lexically_normal().string()); }

fs::path executablePath() {
  std::error_code ec;
  fs::path exe = fs::read_symlink("/proc/self/exe", ec);
  // Without /proc, the working folder is the best guess there is.
  return ec ? fs::current_path(ec) / toUTF8(ProcessInfo::processName()) : exe;
}

// The file that holds this code: libvantorcore.so, or the executable when the
// library is linked in statically (the main program's link-map name is "").
fs::path libraryBinaryPath() {
  Dl_info info{};
  link_map* map = nullptr;
  if (dladdr1(reinterpret_cast<void*>(&Bundle::framework), &info, reinterpret_cast<void**>(&map),
              RTLD_DL_LINKMAP) &&
      map && map->l_name && *map->l_name) {
    std::error_code ec;
    fs::path p = fs::weakly_canonical(map->l_name, ec);
    if (!ec) return p;
  }
  return executablePath();
}

// The install's share/locale wins over a "locale" folder beside the binary:
// beside /usr/lib that folder is glibc's compiled locales, not catalogues.
String frameworkLocaleFolder(const fs::path& folder) {
  const fs::path candidates[] = {folder / ".." / "share" / "locale",
                                 folder / ".." / ".." / "share" / "locale", folder / "locale"};
  for (const fs::path& candidate : candidates) {
    std::error_code ec;
    if (fs::is_directory(candidate, ec)) return pathString(candidate);
  }
  return pathString(candidates[2]);
}

// Binds each domain once; bindings are process-wide and never undone.
const char* boundDomain(const String& domain, const String& folder) {
  static std::mutex mutex;
  static std::map<String, std::string> bindings;
  std::lock_guard lock(mutex);
  auto it = bindings.find(domain);
  if (it == bindings.end()) {
    it = bindings.emplace(domain, toUTF8(domain)).first;
    bindtextdomain(it->second.c_str(), toUTF8(folder).c_str());
    bind_textdomain_codeset(it->second.c_str(), "UTF-8");
  }
  return it->second.c_str();
}

}  // namespace

struct Bundle::Registry {
  Registry() {
    const fs::path exe = executablePath();
    main = adopt(new Bundle(pathString(exe.parent_path()), pathString(exe.parent_path() / "locale"),
                            String(kDefaultTable)));
    main->isMain_ = true;
    const fs::path lib = libraryBinaryPath().parent_path();
    framework =
        adopt(new Bundle(pathString(lib), frameworkLocaleFolder(lib), String(kFrameworkTable)));
    framework->info_ = Dictionary{{u"CFBundleIdentifier", String(FrameworkIdentifier)},
                                  {u"CFBundleName", u"VantorCore"}};
    framework->infoLoaded_ = true;
  }

  // gettext domains are process-wide names, but every bundle may have its own
  // "Localizable". The n-th bundle's domains carry n "./" in front: the file
  // gettext opens is the same ("<locale>/<lang>/LC_MESSAGES/./T.mo"), the
  // domain name is not. The main bundle's are the plain table names.
  Bundle* adopt(Bundle* bundle) {
    for (std::size_t i = 0; i < bundles.size(); ++i) bundle->domainPrefix_ += u"./";
    bundles.emplace_back(bundle);
    return bundle;
  }

  static Registry& shared() {
    static Registry* registry = new Registry();  // never destroyed: bundles outlive statics
    return *registry;
  }

  std::mutex mutex;
  std::vector<std::unique_ptr<Bundle>> bundles;
  std::map<String, Bundle*> byPath;
  std::set<const Class*> frameworkClasses;
  Bundle* main = nullptr;
  Bundle* framework = nullptr;
};

Bundle::Bundle(String path, String localeFolder, String defaultTable)
    : path_(std::move(path)),
      localeFolder_(std::move(localeFolder)),
      defaultTable_(std::move(defaultTable)) {}

Bundle& Bundle::main() { return *Registry::shared().main; }

Bundle& Bundle::framework() { return *Registry::shared().framework; }

Bundle* Bundle::bundleWithIdentifier(StringView identifier) {
  Registry& r = Registry::shared();
  std::vector<Bundle*> candidates;
  {
    std::lock_guard lock(r.mutex);
    for (const auto& b : r.bundles) candidates.push_back(b.get());
  }
  for (Bundle* b : candidates) {
    if (b->bundleIdentifier() == identifier) return b;
  }
  return nullptr;
}

Bundle* Bundle::bundleWithPath(StringView path) {
  std::error_code ec;
  // One bundle per folder, however the caller spells the path.
  const fs::path folder = fs::canonical(toUTF8(path), ec);
  if (ec || !fs::is_directory(folder, ec)) return nullptr;
  const String key = pathString(folder);
  Registry& r = Registry::shared();
  std::lock_guard lock(r.mutex);
  if (auto it = r.byPath.find(key); it != r.byPath.end()) return it->second;
  Bundle* bundle = r.adopt(new Bundle(key, pathString(folder / "locale"), String(kDefaultTable)));
  r.byPath.emplace(key, bundle);
  return bundle;
}

Bundle& Bundle::bundleForClass(const Class& cls) {
  Registry& r = Registry::shared();
  bool library = cls.superclass() == nullptr || cls.name().starts_with(u"LX");
  if (!library) {
    std::lock_guard lock(r.mutex);
    library = r.frameworkClasses.contains(&cls);
  }
  return library ? *r.framework : *r.main;
}

void Bundle::markFrameworkClass(const Class& cls) {
  Registry& r = Registry::shared();
  std::lock_guard lock(r.mutex);
  r.frameworkClasses.insert(&cls);
}

void Bundle::ensureInfoLoaded() const {
  if (infoLoaded_) return;
  infoLoaded_ = true;
  std::ifstream in(fs::path(toUTF8(path_)) / "Info.plist", std::ios::binary);
  if (in) {
    const Data bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    if (std::optional<Value> plist = PropertyList::read(bytes); plist && plist->isDictionary()) {
      info_ = *plist->asDictionary();
    }
  }
  nameMainExecutable();
}

// A Linux program rarely ships an Info.plist, yet code that checks the main
// bundle's executable name (log rotation, support folders) should find the
// name the process runs under, as it would in a packaged application.
void Bundle::nameMainExecutable() const {
  if (!isMain_ || info_.find(u"CFBundleExecutable")) return;
  const String name = ProcessInfo::processName();
  if (!name.empty()) info_.set(u"CFBundleExecutable", name);
}

std::optional<String> Bundle::bundleIdentifier() const {
  std::optional<Value> v = objectForInfoDictionaryKey(u"CFBundleIdentifier");
  if (v && v->isString()) return *v->asString();
  return std::nullopt;
}

std::optional<String> Bundle::executableName() const {
  if (isMain_) return ProcessInfo::processName();
  std::optional<Value> v = objectForInfoDictionaryKey(u"CFBundleExecutable");
  if (v && v->isString()) return *v->asString();
  return std::nullopt;
}

Dictionary Bundle::infoDictionary() const {
  std::lock_guard lock(mutex_);
  ensureInfoLoaded();
  return info_;
}

void Bundle::setInfoDictionary(Dictionary info) {
  std::lock_guard lock(mutex_);
  infoLoaded_ = true;
  info_ = std::move(info);
  nameMainExecutable();
}

std::optional<Value> Bundle::objectForInfoDictionaryKey(StringView key) const {
  std::lock_guard lock(mutex_);
  ensureInfoLoaded();
  if (const Value* v = info_.find(key)) return *v;
  return std::nullopt;
}

String Bundle::localizedString(StringView key, StringView value,
                               std::optional<StringView> table) const {
  auto missing = [&] { return String(value.empty() ? key : value); };
  // gettext keys are C strings, and the empty key holds the catalogue header;
  // a table is a file name, never a path out of the locale folder.
  if (key.empty() || key.find(u'\0') != StringView::npos) return missing();
  const String tableName = table && !table->empty() ? String(*table) : defaultTable_;
  if (tableName.find_first_of(StringView(u"/\0", 2)) != String::npos) return missing();
  const char* domain = boundDomain(domainPrefix_ + tableName, localeFolder_);
  const std::string msgid = toUTF8(key);
  const char* translated = dcgettext(domain, msgid.c_str(), LC_MESSAGES);
  // gettext hands back the key's own pointer when the catalogue has no entry.
  if (translated == msgid.c_str()) return missing();
  return fromUTF8(translated);
}

}  // namespace lx
