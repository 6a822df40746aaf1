#include "vantorcore/platform/ValueTransformer.h"

#include <algorithm>
#include <map>
#include <mutex>

namespace lx {
namespace {

struct Registry {
  std::mutex mutex;
  std::map<String, std::shared_ptr<ValueTransformer>, std::less<>> byName;
};

Registry& registry() {
  static Registry* r = new Registry;  // outlives static destructors that may look names up
  return *r;
}

}  // namespace

LX_DEFINE_CLASS(ValueTransformer, Object)

std::optional<Value> ValueTransformer::reverseTransformedValue(const Value& value) const {
  if (!allowsReverseTransformation()) return std::nullopt;
  return value;
}

void ValueTransformer::setValueTransformer(std::shared_ptr<ValueTransformer> transformer,
                                           StringView name) {
  Registry& r = registry();
  std::lock_guard lock(r.mutex);
  if (transformer) {
    r.byName[String(name)] = std::move(transformer);
  } else if (auto it = r.byName.find(name); it != r.byName.end()) {
    r.byName.erase(it);
  }
}

std::shared_ptr<ValueTransformer> ValueTransformer::valueTransformerForName(StringView name) {
  Registry& r = registry();
  std::lock_guard lock(r.mutex);
  const auto it = r.byName.find(name);
  return it == r.byName.end() ? nullptr : it->second;
}

std::vector<String> ValueTransformer::valueTransformerNames() {
  Registry& r = registry();
  std::lock_guard lock(r.mutex);
  std::vector<String> names;
  for (const auto& entry : r.byName) names.push_back(entry.first);
  return names;
}

}  // namespace lx
