#include "platform/ContentTypeRegistry.h"

#include <algorithm>
#include <atomic>
#include <mutex>

#include "platform/ASCIICase.h"
#include "platform/ContentTypeTable.h"
#include "vantorcore/platform/Log.h"
#include "vantorcore/platform/SharedMimeInfo.h"

namespace lx::detail {

namespace {

constexpr int kDefaultGlobWeight = 50;

std::vector<String> splitList(StringView list) {
  std::vector<String> items;
  while (!list.empty()) {
    const std::size_t space = list.find(u' ');
    if (space != 0) items.emplace_back(list.substr(0, space));
    list.remove_prefix(space == StringView::npos ? list.size() : space + 1);
  }
  return items;
}

void appendUnique(std::vector<String>& list, const String& item) {
  if (std::find(list.begin(), list.end(), item) == list.end()) list.push_back(item);
}

// "*.<ext>" with a plain <ext> gives <ext> lower-cased; a case-sensitive
// pattern only when lower-casing would not change it.
std::optional<String> extensionOfPattern(const SharedMimeInfo::Glob& glob) {
  const StringView pattern = glob.pattern;
  if (!pattern.starts_with(u"*.") || pattern.size() == 2) return std::nullopt;
  const StringView extension = pattern.substr(2);
  if (extension.find_first_of(u"*?[]/\\") != StringView::npos) return std::nullopt;
  String lower = asciiLowercase(extension);
  if (glob.caseSensitive && lower != extension) return std::nullopt;
  return lower;
}

// "org.freedesktop.mime." + the type with "/" as "." and anything but
// letters, digits, "." and "-" as "-".
String identifierForMIMEType(StringView mimeType) {
  String identifier = u"org.freedesktop.mime.";
  for (char16_t c : mimeType) {
    const bool kept =
        (c >= u'a' && c <= u'z') || (c >= u'0' && c <= u'9') || c == u'.' || c == u'-';
    identifier.push_back(c == u'/' ? u'.' : kept ? c : u'-');
  }
  return identifier;
}

StringView impliedSupertype(StringView mimeType) {
  const StringView media = mimeType.substr(0, mimeType.find(u'/'));
  if (media == u"text") return u"public.plain-text";
  if (media == u"image") return u"public.image";
  if (media == u"audio") return u"public.audio";
  if (media == u"video") return u"public.movie";
  if (media == u"font") return u"public.font";
  if (media == u"inode") return u"public.item";
  return u"public.data";
}

struct WeightedExtension {
  String extension;
  int weight;
};

// What the shared-mime-info folders say, merged by precedence.
struct Database {
  StringMap<std::vector<WeightedExtension>> globs;  // by type
  StringMap<String> aliases;                        // alias => canonical
  StringMap<std::vector<String>> parents;           // by type
  StringMap<String> folders;                        // type => declaring folder

  [[nodiscard]] const String& canonical(const String& type) const {
    const auto it = aliases.find(type);
    return it == aliases.end() ? type : it->second;
  }

  // Folders come highest precedence first; the lowest is merged first so
  // that each higher one can replace what it redefines.
  void read(const std::vector<String>& paths) {
    for (auto path = paths.rbegin(); path != paths.rend(); ++path) {
      auto folder = SharedMimeInfo::readFolder(*path);
      if (!folder) continue;
      if (folder->malformedLines > 0) {
        logFormat(u"ContentType: skipped %lu malformed lines in %@",
                  static_cast<unsigned long>(folder->malformedLines), *path);
      }
      merge(*folder, *path);
    }
  }

  void merge(const SharedMimeInfo::Folder& folder, const String& path) {
    StringMap<std::vector<WeightedExtension>> local;
    for (const auto& glob : folder.globs) {
      auto& list = local[glob.mimeType];  // "__NOGLOBS__" leaves it empty
      if (auto extension = extensionOfPattern(glob)) {
        list.push_back({std::move(*extension), glob.weight});
      }
    }
    for (auto& [type, list] : local) {
      std::stable_sort(list.begin(), list.end(),
                       [](const auto& a, const auto& b) { return a.weight > b.weight; });
      globs[type] = std::move(list);
      folders[type] = path;
    }
    for (const auto& [alias, target] : folder.aliases) aliases[alias] = target;
    for (const auto& [child, parent] : folder.subclasses) {
      appendUnique(parents[child], parent);
      folders.try_emplace(child, path);
    }
  }

  // Every canonical type named anywhere, sorted so identifiers come out the
  // same whatever the hash order.
  [[nodiscard]] std::vector<String> types() const {
    std::vector<String> all;
    for (const auto& [type, list] : globs) all.push_back(canonical(type));
    for (const auto& [child, list] : parents) {
      all.push_back(canonical(child));
      for (const String& parent : list) all.push_back(canonical(parent));
    }
    for (const auto& [alias, target] : aliases) all.push_back(target);
    std::sort(all.begin(), all.end());
    all.erase(std::unique(all.begin(), all.end()), all.end());
    return all;
  }
};

std::atomic<std::shared_ptr<const ContentTypeRegistry>> currentRegistry;
std::mutex buildMutex;

}  // namespace

class ContentTypeRegistryBuilder {
 public:
  using Declaration = ContentType::Declaration;

  std::shared_ptr<const ContentTypeRegistry> build(const std::vector<String>& folders) {
    registry_ = std::make_shared<ContentTypeRegistry>();
    Database database;
    database.read(folders);
    const std::vector<String> types = database.types();
    // Declarations never move: there is room for every type there can be.
    const std::size_t most = builtInContentTypes().size() + types.size();
    registry_->declarations_.reserve(most);
    registry_->byKey_.reserve(most);
    addBuiltInTable();
    addDatabase(database, types);
    computeConformance();
    indexTags();
    return registry_;
  }

 private:
  Declaration& declare(String identifier, Declaration::Origin origin) {
    // Within the capacity `build` reserved, so earlier declarations stay put.
    Declaration& d = registry_->declarations_.emplace_back();
    d.key = asciiLowercase(identifier);
    d.identifier = std::move(identifier);
    d.origin = origin;
    d.position = registry_->declarations_.size() - 1;
    registry_->byKey_.emplace(d.key, &d);
    return d;
  }

  static void addExtension(Declaration& d, const String& extension, int weight) {
    const auto it = std::find(d.extensions.begin(), d.extensions.end(), extension);
    if (it == d.extensions.end()) {
      d.extensions.push_back(extension);
      d.extensionWeights.push_back(weight);
    } else {
      int& stored = d.extensionWeights[static_cast<std::size_t>(it - d.extensions.begin())];
      stored = std::max(stored, weight);
    }
  }

  void addBuiltInTable() {
    const auto table = builtInContentTypes();
    for (std::size_t rank = 0; rank < table.size(); ++rank) {
      Declaration& d = declare(String(table[rank].identifier), Declaration::Origin::BuiltIn);
      d.builtInRank = rank;
      d.conformsTo = splitList(table[rank].conformsTo);
      for (const String& e : splitList(table[rank].extensions)) {
        addExtension(d, e, kDefaultGlobWeight);
      }
      d.mimeTypes = splitList(table[rank].mimeTypes);
    }
  }

  // A name for a database type that no other type has.
  String uniqueIdentifier(const String& mimeType) const {
    const String base = identifierForMIMEType(mimeType);
    String identifier = base;
    for (int n = 2; registry_->byKey_.contains(identifier); ++n) {
      identifier = base + u"-" + fromUTF8(std::to_string(n));
    }
    return identifier;
  }

  void addDatabase(const Database& database, const std::vector<String>& types) {
    StringMap<Declaration*> owners;  // canonical MIME type => declaration
    for (Declaration& d : registry_->declarations_) {
      for (const String& m : d.mimeTypes) owners.try_emplace(database.canonical(m), &d);
    }
    for (const String& type : types) {
      auto [it, isNew] = owners.try_emplace(type, nullptr);
      if (isNew) {
        it->second = &declare(uniqueIdentifier(type), Declaration::Origin::Database);
        if (const auto folder = database.folders.find(type); folder != database.folders.end()) {
          it->second->declaringFolder = folder->second;
        }
      }
      Declaration& d = *it->second;
      appendUnique(d.mimeTypes, type);
      if (const auto globs = database.globs.find(type); globs != database.globs.end()) {
        for (const auto& [extension, weight] : globs->second) addExtension(d, extension, weight);
      }
    }
    std::vector<std::pair<String, String>> aliases(database.aliases.begin(),
                                                   database.aliases.end());
    std::sort(aliases.begin(), aliases.end());
    for (const auto& [alias, target] : aliases) {
      if (const auto owner = owners.find(target); owner != owners.end()) {
        appendUnique(owner->second->mimeTypes, alias);
      }
    }
    for (const String& type : types) {
      Declaration& d = *owners.at(type);
      if (d.origin != Declaration::Origin::Database || d.mimeTypes.front() != type) continue;
      if (const auto parents = database.parents.find(type); parents != database.parents.end()) {
        for (const String& parent : parents->second) {
          const Declaration* owner = owners.at(database.canonical(parent));
          if (owner != &d) appendUnique(d.conformsTo, owner->identifier);
        }
      }
      appendUnique(d.conformsTo, String(impliedSupertype(type)));
    }
  }

  // A walk over resolved parents per type, with a visit mark per type, so
  // that cycles end and nothing is copied but pointers.
  void computeConformance() {
    auto& declarations = registry_->declarations_;
    std::vector<std::vector<const Declaration*>> parents(declarations.size());
    for (const Declaration& d : declarations) {
      for (const String& parent : d.conformsTo) {
        const bool lower = std::none_of(parent.begin(), parent.end(),
                                        [](char16_t c) { return c >= u'A' && c <= u'Z'; });
        if (const Declaration* p = registry_->find(lower ? parent : asciiLowercase(parent))) {
          parents[d.position].push_back(p);
        }
      }
    }
    std::vector<std::size_t> visitedBy(declarations.size(), declarations.size());
    std::vector<const Declaration*> found;
    for (Declaration& d : declarations) {
      found.assign(1, &d);
      visitedBy[d.position] = d.position;
      for (std::size_t i = 0; i < found.size(); ++i) {
        for (const Declaration* parent : parents[found[i]->position]) {
          if (visitedBy[parent->position] == d.position) continue;
          visitedBy[parent->position] = d.position;
          found.push_back(parent);
        }
      }
      d.conformance.reserve(found.size());
      for (const Declaration* type : found) d.conformance.emplace_back(type->key);
      std::sort(d.conformance.begin(), d.conformance.end());
    }
  }

  void indexTags() {
    for (const Declaration& d : registry_->declarations_) {
      for (const String& e : d.extensions) registry_->byExtension_[e].push_back(&d);
      for (const String& m : d.mimeTypes) registry_->byMIMEType_[m].push_back(&d);
    }
    const auto builtInFirst = [](const Declaration* a, const Declaration* b) {
      const bool aBuiltIn = a->origin == Declaration::Origin::BuiltIn;
      const bool bBuiltIn = b->origin == Declaration::Origin::BuiltIn;
      if (aBuiltIn != bBuiltIn) return aBuiltIn;
      if (aBuiltIn) return a->builtInRank < b->builtInRank;
      return a->mimeTypes.front() < b->mimeTypes.front();
    };
    for (auto& entry : registry_->byExtension_) {
      const String& extension = entry.first;  // clang 14 lambdas cannot capture bindings
      std::sort(entry.second.begin(), entry.second.end(),
                [&](const Declaration* a, const Declaration* b) {
                  const int wa = weightOf(*a, extension);
                  const int wb = weightOf(*b, extension);
                  return wa != wb ? wa > wb : builtInFirst(a, b);
                });
    }
    for (auto& [mimeType, owners] : registry_->byMIMEType_) {
      std::sort(owners.begin(), owners.end(), builtInFirst);
    }
  }

  static int weightOf(const Declaration& d, const String& extension) {
    const auto it = std::find(d.extensions.begin(), d.extensions.end(), extension);
    return d.extensionWeights[static_cast<std::size_t>(it - d.extensions.begin())];
  }

  std::shared_ptr<ContentTypeRegistry> registry_;
};

std::shared_ptr<const ContentTypeRegistry> ContentTypeRegistry::current() {
  if (auto registry = currentRegistry.load(std::memory_order_acquire)) return registry;
  std::lock_guard lock(buildMutex);
  if (auto registry = currentRegistry.load(std::memory_order_acquire)) return registry;
  auto registry = ContentTypeRegistryBuilder().build(SharedMimeInfo::systemFolders());
  currentRegistry.store(registry, std::memory_order_release);
  return registry;
}

void ContentTypeRegistry::reload(const std::vector<String>& folders) {
  auto registry = ContentTypeRegistryBuilder().build(folders);
  std::lock_guard lock(buildMutex);
  currentRegistry.store(std::move(registry), std::memory_order_release);
}

const ContentType::Declaration* ContentTypeRegistry::find(StringView key) const noexcept {
  const auto it = byKey_.find(key);
  return it == byKey_.end() ? nullptr : it->second;
}

std::span<const ContentType::Declaration* const> ContentTypeRegistry::extensionOwners(
    StringView key) const noexcept {
  const auto it = byExtension_.find(key);
  if (it == byExtension_.end()) return {};
  return it->second;
}

std::span<const ContentType::Declaration* const> ContentTypeRegistry::mimeTypeOwners(
    StringView key) const noexcept {
  const auto it = byMIMEType_.find(key);
  if (it == byMIMEType_.end()) return {};
  return it->second;
}

ContentType ContentTypeRegistry::typeFor(const Declaration& declaration) const {
  return ContentType(std::shared_ptr<const Declaration>(shared_from_this(), &declaration));
}

}  // namespace lx::detail
