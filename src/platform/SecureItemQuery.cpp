#include "vantorcore/platform/SecureItemQuery.h"

#include <array>
#include <limits>

namespace lx {
namespace {

enum class AttributeType { String, Integer, Data, Bool, Date };

struct AttributeRule {
  StringView key;
  AttributeType type;
  bool writable;
};

// Every attribute a password item has. Dates are the store's to set.
constexpr std::array kAttributes{
    AttributeRule{kSecAttrAccessGroup, AttributeType::String, true},
    AttributeRule{kSecAttrAccount, AttributeType::String, true},
    AttributeRule{kSecAttrAuthenticationType, AttributeType::String, true},
    AttributeRule{kSecAttrComment, AttributeType::String, true},
    AttributeRule{kSecAttrCreationDate, AttributeType::Date, false},
    AttributeRule{kSecAttrCreator, AttributeType::Integer, true},
    AttributeRule{kSecAttrDescription, AttributeType::String, true},
    AttributeRule{kSecAttrGeneric, AttributeType::Data, true},
    AttributeRule{kSecAttrIsInvisible, AttributeType::Bool, true},
    AttributeRule{kSecAttrIsNegative, AttributeType::Bool, true},
    AttributeRule{kSecAttrLabel, AttributeType::String, true},
    AttributeRule{kSecAttrModificationDate, AttributeType::Date, false},
    AttributeRule{kSecAttrPath, AttributeType::String, true},
    AttributeRule{kSecAttrPort, AttributeType::Integer, true},
    AttributeRule{kSecAttrProtocol, AttributeType::String, true},
    AttributeRule{kSecAttrSecurityDomain, AttributeType::String, true},
    AttributeRule{kSecAttrServer, AttributeType::String, true},
    AttributeRule{kSecAttrService, AttributeType::String, true},
    AttributeRule{kSecAttrType, AttributeType::Integer, true},
};

constexpr std::array<StringView, 4> kGenericKey{kSecAttrAccount, kSecAttrService,
                                                kSecAttrAccessGroup, kSecAttrSynchronizable};
constexpr std::array<StringView, 9> kInternetKey{
    kSecAttrAccount,  kSecAttrSecurityDomain,     kSecAttrServer,
    kSecAttrProtocol, kSecAttrAuthenticationType, kSecAttrPort,
    kSecAttrPath,     kSecAttrAccessGroup,        kSecAttrSynchronizable};
constexpr std::array<StringView, 10> kAnyKey{kSecAttrAccount,
                                             kSecAttrService,
                                             kSecAttrServer,
                                             kSecAttrProtocol,
                                             kSecAttrAuthenticationType,
                                             kSecAttrPort,
                                             kSecAttrPath,
                                             kSecAttrSecurityDomain,
                                             kSecAttrAccessGroup,
                                             kSecAttrSynchronizable};

const AttributeRule* attributeRule(StringView key) {
  for (const AttributeRule& rule : kAttributes) {
    if (rule.key == key) return &rule;
  }
  return nullptr;
}

bool hasType(const Value& value, AttributeType type) {
  switch (type) {
    case AttributeType::String:
      return value.isString() &&
             toUTF8(*value.asString()).size() <= SecureItemStore::kMaximumAttributeSize;
    case AttributeType::Integer:
      return value.isInteger() && !value.isBool();
    case AttributeType::Data:
      return value.isData() && value.asData()->size() <= SecureItemStore::kMaximumAttributeSize;
    case AttributeType::Bool:
      return value.isBool() || value.isInteger();
    case AttributeType::Date:
      return value.isDate();
  }
  return false;
}

// Booleans arrive as numbers as often as as booleans; one form keeps
// comparisons and stored items simple.
Value normalised(const Value& value, AttributeType type) {
  if (type == AttributeType::Bool) return Value(value.boolValue());
  if (type == AttributeType::Integer) return Value(value.int64Value());
  return value;
}

std::optional<std::size_t> matchLimit(const Value& value) {
  if (value.isString()) {
    if (*value.asString() == kSecMatchLimitOne) return 1;
    if (*value.asString() == kSecMatchLimitAll) return std::numeric_limits<std::size_t>::max();
    return std::nullopt;
  }
  if (value.isInteger() && !value.isBool() && value.int64Value() >= 1) {
    return static_cast<std::size_t>(value.int64Value());
  }
  return std::nullopt;
}

}  // namespace

std::optional<SecureItemQuery> SecureItemQuery::parse(const Dictionary& dictionary, Purpose purpose,
                                                      OSStatus* status) {
  SecureItemQuery query;
  bool synchronizableGiven = false;
  auto refuse = [&]() -> std::optional<SecureItemQuery> {
    if (status) *status = errSecParam;
    return std::nullopt;
  };
  for (const auto& [key, value] : dictionary) {
    const StringView k = key.view();
    if (k == kSecClass) {
      if (purpose == Purpose::Change || !value.isString()) return refuse();
      query.itemClass_ = *value.asString();
      if (primaryKey(query.itemClass_).empty()) return refuse();
    } else if (k == kSecAttrSynchronizable) {
      synchronizableGiven = true;
      if (value.isString() && *value.asString() == kSecAttrSynchronizableAny &&
          purpose == Purpose::Match) {
        query.synchronizable_ = Synchronizable::Any;
      } else if (value.isBool() || (value.isInteger())) {
        query.synchronizable_ =
            value.boolValue() ? Synchronizable::Synchronized : Synchronizable::Local;
        if (purpose != Purpose::Match) query.attributes_.set(key, Value(value.boolValue()));
      } else {
        return refuse();
      }
    } else if (k == kSecMatchLimit) {
      if (purpose != Purpose::Match) return refuse();
      const auto limit = matchLimit(value);
      if (!limit) return refuse();
      query.limit_ = *limit;
      query.oneResult_ = value.isString() && *value.asString() == kSecMatchLimitOne;
    } else if (k == kSecReturnAttributes || k == kSecReturnData || k == kSecReturnPersistentRef) {
      if (purpose == Purpose::Change || !value.isNumber()) return refuse();
      bool& flag = k == kSecReturnAttributes
                       ? query.returnAttributes_
                       : (k == kSecReturnData ? query.returnData_ : query.returnReference_);
      flag = value.boolValue();
    } else if (k == kSecValuePersistentRef) {
      if (purpose != Purpose::Match || !value.isData()) return refuse();
      query.reference_ = *value.asData();
    } else if (k == kSecValueData) {
      if (purpose == Purpose::Match || !value.isData() ||
          value.asData()->size() > SecureItemStore::kMaximumSecretSize) {
        return refuse();
      }
      query.secret_ = *value.asData();
    } else {
      const AttributeRule* rule = attributeRule(k);
      if (!rule || !hasType(value, rule->type)) return refuse();
      if (purpose != Purpose::Match && !rule->writable) return refuse();
      query.attributes_.set(key, normalised(value, rule->type));
    }
  }
  if (purpose == Purpose::Add && !synchronizableGiven) {
    query.attributes_.set(kSecAttrSynchronizable, Value(false));
  }
  // A reference names one item, whichever kind it is.
  if (query.reference_ && !synchronizableGiven) query.synchronizable_ = Synchronizable::Any;
  const bool classOptional = purpose == Purpose::Change || query.reference_.has_value();
  if (query.itemClass_.empty() && !classOptional) return refuse();
  return query;
}

bool SecureItemQuery::matches(const SecureItem& item) const {
  if (reference_ && *reference_ != item.reference) return false;
  const Value& itemClass = item.attributes[kSecClass];
  if (!itemClass_.empty() && !(itemClass.isString() && *itemClass.asString() == itemClass_)) {
    return false;
  }
  const bool synchronized = item.attributes[kSecAttrSynchronizable].boolValue();
  if (synchronizable_ == Synchronizable::Local && synchronized) return false;
  if (synchronizable_ == Synchronizable::Synchronized && !synchronized) return false;
  for (const auto& [key, value] : attributes_) {
    if (key == kSecAttrSynchronizable) continue;
    const Value* held = item.attributes.find(key);
    if (!held || !(*held == value)) return false;
  }
  return true;
}

std::span<const StringView> SecureItemQuery::primaryKey(StringView itemClass) noexcept {
  if (itemClass == kSecClassGenericPassword) return kGenericKey;
  if (itemClass == kSecClassInternetPassword) return kInternetKey;
  return {};
}

std::span<const StringView> SecureItemQuery::primaryKeyAttributes() noexcept { return kAnyKey; }

Value SecureItemQuery::primaryKeyDefault(StringView attribute) {
  if (attribute == kSecAttrPort) return Value(std::int64_t{0});
  if (attribute == kSecAttrSynchronizable) return Value(false);
  return Value(u"");
}

Dictionary SecureItemQuery::withPrimaryKeyDefaults(StringView itemClass, Dictionary attributes) {
  for (StringView key : primaryKey(itemClass)) {
    if (!attributes.contains(key)) attributes.set(key, primaryKeyDefault(key));
  }
  return attributes;
}

Value SecureItemQuery::shapeResult(const std::vector<SecureItem>& items) const {
  const int kinds = int(returnAttributes_) + int(returnData_) + int(returnReference_);
  if (kinds == 0) return Value();
  auto shapeOne = [&](const SecureItem& item) -> Value {
    if (kinds == 1) {
      if (returnAttributes_) return Value(item.attributes);
      return Value(returnData_ ? item.secret : item.reference);
    }
    Dictionary combined = returnAttributes_ ? item.attributes : Dictionary();
    if (returnData_) combined.set(kSecValueData, Value(item.secret));
    if (returnReference_) combined.set(kSecValuePersistentRef, Value(item.reference));
    return Value(std::move(combined));
  };
  if (oneResult_) return items.empty() ? Value() : shapeOne(items.front());
  Array all;
  all.reserve(items.size());
  for (const SecureItem& item : items) all.push_back(shapeOne(item));
  return Value(std::move(all));
}

}  // namespace lx
