#include "vantorcore/platform/InMemorySecureItemStore.h"

#include <algorithm>

namespace lx {
namespace {

bool samePrimaryKey(const SecureItem& a, const SecureItem& b) {
  const Value& itemClass = a.attributes[kSecClass];
  if (!(itemClass == b.attributes[kSecClass])) return false;
  for (StringView key : SecureItemQuery::primaryKey(itemClass.asString()->view())) {
    if (!(a.attributes[key] == b.attributes[key])) return false;
  }
  return true;
}

}  // namespace

void InMemorySecureItemStore::failWith(std::optional<OSStatus> status) {
  std::lock_guard lock(mutex_);
  failure_ = status;
}

std::size_t InMemorySecureItemStore::count() const {
  std::lock_guard lock(mutex_);
  return items_.size();
}

OSStatus InMemorySecureItemStore::find(const SecureItemQuery& query,
                                       std::vector<SecureItem>& items) {
  std::lock_guard lock(mutex_);
  if (failure_) return *failure_;
  for (const SecureItem& item : items_) {
    if (items.size() >= query.limit()) break;
    if (!query.matches(item)) continue;
    items.push_back(item);
    if (!query.wantsSecret()) items.back().secret.clear();
  }
  return errSecSuccess;
}

OSStatus InMemorySecureItemStore::insert(const SecureItem& item) {
  std::lock_guard lock(mutex_);
  if (failure_) return *failure_;
  const bool duplicate = std::any_of(items_.begin(), items_.end(), [&](const SecureItem& held) {
    return samePrimaryKey(held, item);
  });
  if (duplicate) return errSecDuplicateItem;
  items_.push_back(item);
  return errSecSuccess;
}

OSStatus InMemorySecureItemStore::modify(const SecureItemQuery& query,
                                         const Dictionary& attributeChanges,
                                         const std::optional<Data>& secret) {
  std::lock_guard lock(mutex_);
  if (failure_) return *failure_;
  // Changes go to a copy first so that a clash leaves every item as it was.
  std::vector<SecureItem> changed = items_;
  bool any = false;
  for (SecureItem& item : changed) {
    if (!query.matches(item)) continue;
    any = true;
    item.attributes.addEntries(attributeChanges);
    if (secret) item.secret = *secret;
  }
  if (!any) return errSecItemNotFound;
  for (std::size_t i = 0; i < changed.size(); ++i) {
    for (std::size_t j = i + 1; j < changed.size(); ++j) {
      if (samePrimaryKey(changed[i], changed[j])) return errSecDuplicateItem;
    }
  }
  items_ = std::move(changed);
  return errSecSuccess;
}

OSStatus InMemorySecureItemStore::erase(const SecureItemQuery& query) {
  std::lock_guard lock(mutex_);
  if (failure_) return *failure_;
  const auto removed =
      std::erase_if(items_, [&](const SecureItem& item) { return query.matches(item); });
  return removed ? errSecSuccess : errSecItemNotFound;
}

}  // namespace lx
