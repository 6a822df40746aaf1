#include "vantorcore/text/LXTenseString.h"

#include <unordered_map>

namespace lx {

LX_DEFINE_CLASS(LXTenseString, Object)

namespace {

std::unordered_map<String, std::shared_ptr<LXTenseString>>& cache() {
  static auto* map = new std::unordered_map<String, std::shared_ptr<LXTenseString>>;
  return *map;
}

}  // namespace

LXTenseString::LXTenseString(StringView baseLocalizedString, const Bundle* bundle)
    : string_(baseLocalizedString) {
  const Bundle& source = bundle ? *bundle : Bundle::main();
  static constexpr const char16_t* kFormats[] = {u"%@-present", u"%@-past", u"%@-future"};
  for (int tense = Present; tense <= Future; ++tense) {
    tenses_[tense] = source.localizedString(stringWithFormat(kFormats[tense], string_));
  }
}

std::shared_ptr<LXTenseString> LXTenseString::tenseStringWithBaseLocalizedString(
    StringView baseLocalizedString, const Bundle* bundle) {
  auto& map = cache();
  const String key(baseLocalizedString);
  if (auto it = map.find(key); it != map.end()) return it->second;
  auto made = std::make_shared<LXTenseString>(baseLocalizedString, bundle);
  map.emplace(key, made);
  return made;
}

std::optional<String> LXTenseString::stringForTense(int tense) const {
  const auto it = tenses_.find(tense);
  if (it == tenses_.end()) return std::nullopt;
  return it->second;
}

}  // namespace lx
