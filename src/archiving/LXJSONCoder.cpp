#include "vantorcore/archiving/LXJSONCoder.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <iterator>
#include <limits>
#include <span>

#include "vantorcore/platform/Exception.h"
#include "vantorcore/platform/JSON.h"
#include "vantorcore/platform/Log.h"
#include "vantorcore/text/Data+Base64.h"

namespace lx {

namespace {

// ---------------------------------------------------------------------------
// Base64. Writing uses the library's encoder; reading is strict, unlike the
// library's lenient decoder: a data string with characters outside the
// alphabet is not data, as with the platform's decoder without options.

int base64Digit(char16_t c) {
  if (c >= u'A' && c <= u'Z') return c - u'A';
  if (c >= u'a' && c <= u'z') return c - u'a' + 26;
  if (c >= u'0' && c <= u'9') return c - u'0' + 52;
  if (c == u'+') return 62;
  if (c == u'/') return 63;
  return -1;
}

// Strict, like the platform's decoder without options: whole quads, padding
// only at the end, nothing outside the alphabet.
std::optional<Data> base64Decode(StringView text) {
  if (text.size() % 4 != 0) return std::nullopt;
  std::size_t padding = 0;
  while (padding < 2 && padding < text.size() && text[text.size() - 1 - padding] == u'=') ++padding;
  Data out;
  out.reserve(text.size() / 4 * 3);
  unsigned n = 0;
  for (std::size_t i = 0; i < text.size() - padding; ++i) {
    const int d = base64Digit(text[i]);
    if (d < 0) return std::nullopt;
    n = (n << 6) | static_cast<unsigned>(d);
    if (i % 4 == 3) {
      out.push_back(static_cast<std::uint8_t>(n >> 16));
      out.push_back(static_cast<std::uint8_t>(n >> 8));
      out.push_back(static_cast<std::uint8_t>(n));
      n = 0;
    }
  }
  if (padding == 2) {
    out.push_back(static_cast<std::uint8_t>(n >> 4));
  } else if (padding == 1) {
    out.push_back(static_cast<std::uint8_t>(n >> 10));
    out.push_back(static_cast<std::uint8_t>(n >> 2));
  }
  return out;
}

// ---------------------------------------------------------------------------
// Dates. The archive's patterns have fixed-width ASCII fields and GMT, so a
// small parser stands in for a locale-dependent date formatter.

// Days from 1970-01-01 to the given proleptic Gregorian date.
std::int64_t daysFromCivil(std::int64_t y, unsigned m, unsigned d) {
  y -= m <= 2;
  const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
  const unsigned yoe = static_cast<unsigned>(y - era * 400);
  const unsigned doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + static_cast<std::int64_t>(doe) - 719468;
}

unsigned daysInMonth(std::int64_t y, unsigned m) {
  static constexpr unsigned kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
  return m == 2 && leap ? 29 : kDays[m - 1];
}

// Matches `text` against `pattern`, where Y stands for four digits, M D h m s
// for two digits each and every other character for itself. Fields absent
// from the pattern default to 1970-01-01 00:00:00. Returns seconds since
// 1970 in GMT, and the unmatched rest of the text through `rest`.
std::optional<double> parseFixed(StringView text, std::string_view pattern, StringView* rest) {
  int fields[128] = {};
  fields['Y'] = 1970;
  fields['M'] = fields['D'] = 1;
  std::size_t i = 0;
  for (char p : pattern) {
    const std::size_t width = p == 'Y'                                                      ? 4
                              : std::string_view("MDhms").find(p) != std::string_view::npos ? 2
                                                                                            : 0;
    if (width == 0) {
      if (i >= text.size() || text[i] != static_cast<char16_t>(p)) return std::nullopt;
      ++i;
      continue;
    }
    int n = 0;
    for (std::size_t k = 0; k < width; ++k, ++i) {
      if (i >= text.size() || text[i] < u'0' || text[i] > u'9') return std::nullopt;
      n = n * 10 + (text[i] - u'0');
    }
    fields[static_cast<unsigned char>(p)] = n;
  }
  const int y = fields['Y'], mo = fields['M'], d = fields['D'];
  if (mo < 1 || mo > 12 || d < 1 || static_cast<unsigned>(d) > daysInMonth(y, mo) ||
      fields['h'] > 23 || fields['m'] > 59 || fields['s'] > 59)
    return std::nullopt;
  if (rest) *rest = text.substr(i);
  return static_cast<double>(daysFromCivil(y, mo, d) * 86400 + fields['h'] * 3600 +
                             fields['m'] * 60 + fields['s']);
}

// The zone of a written date: "GMT" or "UTC", optionally with an offset
// "+H", "+HH", "+HHMM" or "+HH:MM". Returns the offset in seconds east.
std::optional<int> parseZone(StringView zone) {
  if (zone.size() < 3 || (zone.substr(0, 3) != u"GMT" && zone.substr(0, 3) != u"UTC"))
    return std::nullopt;
  zone.remove_prefix(3);
  if (zone.empty()) return 0;
  const int sign = zone[0] == u'+' ? 1 : zone[0] == u'-' ? -1 : 0;
  if (!sign) return std::nullopt;
  zone.remove_prefix(1);
  int digits[4];
  std::size_t count = 0;
  for (std::size_t i = 0; i < zone.size(); ++i) {
    if (zone[i] == u':' && count == 2 && i == 2) continue;
    if (zone[i] < u'0' || zone[i] > u'9' || count == 4) return std::nullopt;
    digits[count++] = zone[i] - u'0';
  }
  int hours = 0, minutes = 0;
  switch (count) {
    case 1:
      hours = digits[0];
      break;
    case 2:
      hours = digits[0] * 10 + digits[1];
      break;
    case 4:
      hours = digits[0] * 10 + digits[1];
      minutes = digits[2] * 10 + digits[3];
      break;
    default:
      return std::nullopt;
  }
  if (hours > 23 || minutes > 59) return std::nullopt;
  return sign * (hours * 3600 + minutes * 60);
}

// "yyyy-MM-dd HH:mm':00' z", the zone taken from the text.
std::optional<Date> parseArchiveDate(StringView text) {
  // Cheap rejection first: every string of a document is tried as a date.
  if (text.size() < 23 || text[4] != u'-' || text[16] != u':') return std::nullopt;
  StringView zone;
  auto seconds = parseFixed(text, "Y-M-D h:m:00 ", &zone);
  if (!seconds) return std::nullopt;
  auto offset = parseZone(zone);
  if (!offset) return std::nullopt;
  return Date(*seconds - *offset);
}

bool isArchiverJSON(const Value& value) {
  return value.isString() || value.isNumber() || JSONSerialization::isValidJSONObject(value);
}

const Class& nullClass() {
  static const Class& cls = ClassRegistry::registerClass(u"NSNull", &Object::staticClass());
  return cls;
}

}  // namespace

// ---------------------------------------------------------------------------
// LXJSONKeyedArchiver

LXJSONKeyedArchiver::LXJSONKeyedArchiver(bool requiringSecureCoding)
    : requiresSecureCoding_(requiringSecureCoding) {}

void LXJSONKeyedArchiver::suppressKey(StringView key, const Class& cls) {
  suppressedKeys_[cls.name()].insert(String(key));
}

bool LXJSONKeyedArchiver::isKeySuppressed(StringView key, const Class& cls) const {
  auto it = suppressedKeys_.find(cls.name());
  return it != suppressedKeys_.end() && it->second.find(key) != it->second.end();
}

const Class* LXJSONKeyedArchiver::topObjectClass() const {
  if (stack_.empty()) return nullptr;
  auto object = stack_.back().object->asObject();
  return object ? &object->objectClass() : nullptr;
}

bool LXJSONKeyedArchiver::suppressedInTop(StringView key) const {
  const Class* cls = topObjectClass();
  return cls && isKeySuppressed(key, *cls);
}

void LXJSONKeyedArchiver::setObject(Value value, StringView key) {
  if (stack_.empty()) {
    LXConditionFailed(u"keyed value encoded outside encodeObject");
    return;
  }
  if (suppressedInTop(key)) return;
  if (auto delegate = delegate_.lock()) {
    Value substitute = delegate->substitutionForValue(*this, *stack_.back().object, value, key);
    if (!substitute.isNull()) {
      if (!isArchiverJSON(substitute)) {
        logLine(u"LXJSONCoder - delegate substitued an invalid JSON object, cannot encode data.");
        return;
      }
      value = std::move(substitute);
    }
  }
  stack_.back().body.set(key, std::move(value));
}

void LXJSONKeyedArchiver::encodeBytes(DataView bytes, StringView key) {
  encodeObject(Value(Data(bytes.begin(), bytes.end())), key);
}

void LXJSONKeyedArchiver::encodeString(StringView value, StringView key) {
  setObject(Value(value), key);
}
void LXJSONKeyedArchiver::encodeBool(bool value, StringView key) { setObject(Value(value), key); }
void LXJSONKeyedArchiver::encodeInt32(std::int32_t value, StringView key) {
  setObject(Value(value), key);
}
void LXJSONKeyedArchiver::encodeInt64(std::int64_t value, StringView key) {
  setObject(Value(value), key);
}
void LXJSONKeyedArchiver::encodeDouble(double value, StringView key) {
  setObject(Value(value), key);
}
void LXJSONKeyedArchiver::encodeFloat(float value, StringView key) { setObject(Value(value), key); }

void LXJSONKeyedArchiver::encodeObject(const Value& root) {
  auto object = root.asObject();
  if (!object) {
    LXConditionFailed(u"the root of a JSON archive must be an object");
    return;
  }
  Dictionary document;
  document.set(object->className(), encodeBody(root, false));
  finalJSONObject_ = Value(std::move(document));
}

void LXJSONKeyedArchiver::encodeObject(const Value& object, StringView key) {
  if (object.isNull()) return;
  if (stack_.empty()) {
    LXConditionFailed(u"keyed value encoded outside encodeObject");
    return;
  }
  if (suppressedInTop(key)) return;
  std::optional<Value> encoded = getEncodingFor(object);
  if (!encoded) return;
  if (encodeClassMetadata_ && encoded->isArray()) {
    const Array* members = object.asArray();
    if (!members || members->empty()) return;
    // Arrays of the application's own objects get a one-key wrapper naming
    // the class; the platform's values (and classes named like them) do not.
    if (auto first = members->front().asObject()) {
      const String& name = first->className();
      if (!hasPrefix(name, u"NS") && !hasPrefix(name, u"__")) {
        Dictionary wrapper;
        wrapper.set(name, std::move(*encoded));
        Array holder;
        holder.emplace_back(std::move(wrapper));
        stack_.back().body.set(key, Value(std::move(holder)));
        return;
      }
    }
  }
  stack_.back().body.set(key, std::move(*encoded));
}

std::optional<Value> LXJSONKeyedArchiver::getEncodingFor(const Value& value) {
  for (const Frame& frame : stack_) {
    if (*frame.object == value) {
      throw Exception(String(LXJSONCoderCircularReferenceException),
                      u"Found circular reference for " + value.description() + u" ");
    }
  }
  switch (value.type()) {
    case Value::Type::Null:
      return std::nullopt;
    case Value::Type::Data:
      return Value(lx_base64String(*value.asData()) + String(LXJSONCoderDataSuffix));
    case Value::Type::Date:
      return Value(getEncodingForDate(*value.asDate()));
    case Value::Type::Array:
      if (isArchiverJSON(value)) return value;
      return getEncodingForArray(*value.asArray(), value);
    case Value::Type::Dictionary:
      if (isArchiverJSON(value)) return value;
      return encodeBody(value, false);
    case Value::Type::Object:
      return encodeBody(value, encodeClassMetadata_);
    default:
      return value;  // strings and numbers
  }
}

std::optional<Value> LXJSONKeyedArchiver::getEncodingForArray(const Array& array,
                                                              const Value& holder) {
  if (array.empty()) return std::nullopt;
  Array out;
  out.reserve(array.size());
  push(holder);
  StackGuard guard{this};
  for (const Value& member : array) {
    if (auto encoded = getEncodingFor(member)) out.push_back(std::move(*encoded));
  }
  return Value(std::move(out));
}

Value LXJSONKeyedArchiver::encodeBody(const Value& object, bool withClass) {
  push(object);
  StackGuard guard{this};
  if (auto instance = object.asObject()) {
    if (auto coding = dynamic_cast<const Coding*>(instance.get())) {
      coding->encodeWithCoder(*this);
    } else {
      LXConditionFailed(instance->className() + u" does not implement encodeWithCoder");
    }
  } else if (const Dictionary* dictionary = object.asDictionary()) {
    // A dictionary holding values JSON cannot express: each entry is encoded
    // like a keyed field, so that dates and data read back as such.
    for (const auto& [key, member] : *dictionary) encodeObject(member, key);
  }
  Dictionary body = std::move(stack_.back().body);
  if (withClass) body.set(LXJSONCoderClassKey, Value(object.asObject()->className()));
  return Value(std::move(body));
}

String LXJSONKeyedArchiver::getEncodingForDate(Date date) {
  // Minute precision is intended: seconds are cut, not rounded.
  const double minute = std::floor(date.timeIntervalSince1970() / 60) * 60;
  std::tm tm{};
  const auto t = static_cast<std::time_t>(std::clamp(minute, -6.0e16, 6.0e16));
  if (!gmtime_r(&t, &tm)) return String();
  char buf[64];
  std::snprintf(buf, sizeof buf, "%04d-%02d-%02d %02d:%02d:00 GMT", tm.tm_year + 1900,
                tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min);
  return fromUTF8(buf);
}

const std::optional<Data>& LXJSONKeyedArchiver::encodedData() {
  if (!encodedData_ && finalJSONObject_) {
    encodedData_ =
        JSONSerialization::dataWithJSONObject(*finalJSONObject_, JSONWritingPrettyPrinted);
  }
  return encodedData_;
}

std::optional<String> LXJSONKeyedArchiver::json() const {
  if (!finalJSONObject_) return std::nullopt;
  ErrorPtr error;
  auto text =
      JSONSerialization::stringWithJSONObject(*finalJSONObject_, JSONWritingPrettyPrinted, &error);
  if (error && text) return fromUTF8(*text);
  return std::nullopt;
}

// ---------------------------------------------------------------------------
// LXJSONKeyedUnarchiver

LXJSONKeyedUnarchiver::LXJSONKeyedUnarchiver(Value document) : document_(std::move(document)) {
  nullClass();  // so that "NSNull" resolves like the platform's class
  push(&document_, String(u"root"));
}

std::unique_ptr<LXJSONKeyedUnarchiver> LXJSONKeyedUnarchiver::initForReadingWithData(
    DataView data) {
  ErrorPtr error;
  auto document = JSONSerialization::JSONObjectWithData(data, 0, &error);
  if (!document) {
    logFormat(u"Error %@", Value(error ? error->userInfo() : Dictionary()));
    return nullptr;
  }
  return std::unique_ptr<LXJSONKeyedUnarchiver>(new LXJSONKeyedUnarchiver(std::move(*document)));
}

Value LXJSONKeyedUnarchiver::unarchiveObjectWithData(DataView data) {
  auto unarchiver = initForReadingWithData(data);
  return unarchiver ? unarchiver->decodeObject() : Value();
}

Value LXJSONKeyedUnarchiver::unarchiveObjectWithFile(const String& path) {
  std::ifstream in(toUTF8(path), std::ios::binary);
  if (!in) return Value();
  const Data data((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (in.bad()) return Value();
  return unarchiveObjectWithData(data);
}

void LXJSONKeyedUnarchiver::addAlias(StringView alias, const Class& cls) {
  mappingClasses_.insert_or_assign(String(alias), &cls);
}

const Class* LXJSONKeyedUnarchiver::getClassForName(StringView name) const {
  auto it = mappingClasses_.find(name);
  if (it != mappingClasses_.end()) return it->second;
  return ClassRegistry::classNamed(name);
}

const Class* LXJSONKeyedUnarchiver::getClassForKey(const Value& name) const {
  const SharedString* text = name.asString();
  return text ? getClassForName(*text) : nullptr;
}

void LXJSONKeyedUnarchiver::push(const Value* value, std::optional<String> id) {
  jsonObjectStack_.push_back(value);
  if (id) objectIDStack_.push_back(std::move(*id));
}

void LXJSONKeyedUnarchiver::pushObject(Value value, std::optional<String> id) {
  retained_.push_back(std::move(value));
  push(&retained_.back(), std::move(id));
}

bool LXJSONKeyedUnarchiver::pushObjectForKey(StringView key, std::optional<String> id) {
  const Value* member = currentMember(key);
  if (member) push(member, std::move(id));
  return member != nullptr;
}

void LXJSONKeyedUnarchiver::pop() {
  if (!jsonObjectStack_.empty()) jsonObjectStack_.pop_back();
  if (!objectIDStack_.empty()) objectIDStack_.pop_back();
}

const Value& LXJSONKeyedUnarchiver::topJsonObject() const {
  static const Value null;
  return jsonObjectStack_.empty() ? null : *jsonObjectStack_.back();
}

String LXJSONKeyedUnarchiver::topJsonObjectId() const {
  return objectIDStack_.empty() ? String() : objectIDStack_.back();
}

const Value* LXJSONKeyedUnarchiver::currentMember(StringView key) const {
  const Dictionary* dictionary = topJsonObject().asDictionary();
  return dictionary ? dictionary->find(key) : nullptr;
}

namespace {
// Pops the unarchiver's stack when a nested decode ends, also by exception.
struct PopGuard {
  LXJSONKeyedUnarchiver* unarchiver;
  ~PopGuard() { unarchiver->pop(); }
};
}  // namespace

Value LXJSONKeyedUnarchiver::decodeObject() {
  if (jsonObjectStack_.empty()) return Value();
  if (topJsonObjectId() == u"root") {
    const Value* top = jsonObjectStack_.back();
    pop();
    const Dictionary* document = top->asDictionary();
    if (!document || document->empty()) return Value();
    const auto& [name, body] = *document->begin();
    push(&body, name);
  }
  const Value& value = topJsonObject();
  const String id = topJsonObjectId();
  const Class* cls = getClassForName(id);
  if (const Dictionary* dictionary = value.asDictionary()) {
    if (dictionary->contains(LXJSONCoderClassKey)) return decodeHibernateProxy();
    if (id == u"object" || id == u"array" || hasPrefix(id, u"NS.object.")) return value;
  }
  if (cls && cls->isSubclassOfClass(nullClass())) return Value();
  if (value.isNull()) return Value();
  if (value.isArray()) return decodeArrayOfClass(cls);
  if (value.isString()) return value;
  return cls ? Value(cls->instantiateWithCoder(*this)) : Value();
}

std::optional<Data> LXJSONKeyedUnarchiver::decodeBytesForKey(StringView key) {
  const Value value = decodeObjectForKey(key);
  if (const Data* data = value.asData()) return *data;
  return std::nullopt;
}

Value LXJSONKeyedUnarchiver::decodeObjectForKey(StringView key) {
  const Value* member = currentMember(key);
  if (!member) return Value();
  Value plain = decodeFoundationObject(*member);
  if (!plain.isNull()) return plain;
  push(member, String(key));
  PopGuard guard{this};
  return decodeObject();
}

bool LXJSONKeyedUnarchiver::containsValueForKey(StringView key) {
  return currentMember(key) != nullptr;
}

namespace {
// The member read as a scalar: numbers and text convert, anything else is
// no value. `keyValueLookup` stands for the platform's key-value lookup,
// which takes a leading "@" as an operator and finds nothing.
const Value* scalar(const Value* member, StringView key, bool keyValueLookup) {
  if (keyValueLookup && hasPrefix(key, u"@")) return nullptr;
  return member && (member->isNumber() || member->isString()) ? member : nullptr;
}
}  // namespace

bool LXJSONKeyedUnarchiver::decodeBoolForKey(StringView key) {
  const Value* v = scalar(currentMember(key), key, false);
  return v && v->boolValue();
}

std::int32_t LXJSONKeyedUnarchiver::decodeInt32ForKey(StringView key) {
  const Value* v = scalar(currentMember(key), key, false);
  if (!v) return 0;
  if (v->isInteger() || v->isBool()) return static_cast<std::int32_t>(v->int64Value());
  // Reals and text saturate, as the platform's intValue does.
  const std::int64_t n = v->int64Value();
  return static_cast<std::int32_t>(std::clamp<std::int64_t>(
      n, std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()));
}

std::int64_t LXJSONKeyedUnarchiver::decodeInt64ForKey(StringView key) {
  const Value* v = scalar(currentMember(key), key, true);
  return v ? v->int64Value() : 0;
}

double LXJSONKeyedUnarchiver::decodeDoubleForKey(StringView key) {
  const Value* v = scalar(currentMember(key), key, true);
  return v ? v->doubleValue() : 0.0;
}

float LXJSONKeyedUnarchiver::decodeFloatForKey(StringView key) {
  const Value* v = scalar(currentMember(key), key, true);
  return v ? static_cast<float>(v->doubleValue()) : 0.0f;
}

bool LXJSONKeyedUnarchiver::isObjectForUnknownClass(const Dictionary& dictionary) const {
  if (dictionary.empty()) {
    throw InvalidArgumentException(
        u"*** -[__NSArray0 objectAtIndex:]: index 0 beyond bounds for empty NSArray");
  }
  const String& first = dictionary.begin()->first;
  return dictionary.size() < 2 && first != u"string" && !getClassForName(first);
}

Value LXJSONKeyedUnarchiver::decodeArrayOfClass(const Class* cls) {
  const Value& value = topJsonObject();
  const std::optional<String> id =
      objectIDStack_.empty() ? std::nullopt : std::optional(topJsonObjectId());
  String wrapperKey;
  const Value* members = nullptr;
  if (const Array* array = value.asArray()) {
    if (array->empty()) return Value(Array());
    const Dictionary* first = array->front().asDictionary();
    if (!first) return Value(decodeArrayOfPrimitives());
    if (first->size() >= 2 || (!cls && isObjectForUnknownClass(*first))) {
      wrapperKey = u"object";
      members = &value;
    } else if (!first->empty()) {
      wrapperKey = first->begin()->first;
      members = &first->begin()->second;
    }
  } else if (const Dictionary* holder = value.asDictionary(); holder && !holder->empty()) {
    wrapperKey = holder->begin()->first;
    members = &holder->begin()->second;
  }
  if (!members) return Value();

  std::optional<String> memberId = id;
  if (id == u"root") memberId = cls ? std::optional(cls->name()) : std::nullopt;
  if (!memberId || !getClassForName(*memberId)) {
    logFormat(u"Change arrays class from %@ to %@", memberId, wrapperKey);
    memberId = wrapperKey;
  }
  const std::span<const Value> list = members->isArray()
                                          ? std::span<const Value>(*members->asArray())
                                          : std::span<const Value>(members, 1);
  Array out;
  out.reserve(list.size());
  for (const Value& member : list) {
    push(&member, memberId);
    PopGuard guard{this};
    Value decoded = decodeObject();
    if (decoded.isNull()) {
      throw InvalidArgumentException(
          u"*** -[__NSArrayM insertObject:atIndex:]: object cannot be nil");
    }
    out.push_back(std::move(decoded));
  }
  return Value(std::move(out));
}

Array LXJSONKeyedUnarchiver::decodeArrayOfPrimitives() {
  Array out;
  if (const Array* array = topJsonObject().asArray()) {
    out.reserve(array->size());
    for (const Value& member : *array) {
      Value plain = decodeFoundationObject(member);
      if (!plain.isNull()) out.push_back(std::move(plain));
    }
  }
  return out;
}

Value LXJSONKeyedUnarchiver::decodeHibernateProxy() {
  const Dictionary* body = topJsonObject().asDictionary();
  if (!body) return Value();
  const Value& className = (*body)[LXJSONCoderClassKey];
  if (const SharedString* word = className.asString();
      word && (*word == u"sql-timestamp" || *word == u"sql-time" || *word == u"sql-date"))
    return decodeDate();
  const Class* cls = getClassForKey((*body)[LXJSONCoderResolvesToKey]);
  if (!cls) cls = getClassForKey(className);
  return cls ? Value(cls->instantiateWithCoder(*this)) : Value();
}

Value LXJSONKeyedUnarchiver::decodeDate() {
  const Dictionary* body = topJsonObject().asDictionary();
  if (!body) return Value();
  const SharedString* text = (*body)[u"$"].asString();
  if (!text) return Value();
  const SharedString* kind = (*body)[LXJSONCoderClassKey].asString();
  const std::string_view pattern = kind && *kind == u"sql-timestamp" ? "Y-M-D h:m:s"
                                   : kind && *kind == u"sql-date"    ? "Y-M-D"
                                                                     : "h:m:s";
  StringView s = *text;
  if (s.size() >= 3 && hasSuffix(s, u".0")) s.remove_suffix(2);
  StringView rest;
  auto seconds = parseFixed(s, pattern, &rest);
  if (!seconds || !rest.empty()) return Value();
  return Value(Date(*seconds));
}

Value LXJSONKeyedUnarchiver::decodeFoundationObject(const Value& value) {
  switch (value.type()) {
    case Value::Type::Bool:
    case Value::Type::Integer:
    case Value::Type::UnsignedInteger:
    case Value::Type::Real:
      return value;
    case Value::Type::String: {
      const String& text = *value.asString();
      if (text.empty()) return Value();
      if (hasSuffix(text, LXJSONCoderDataSuffix)) {
        const StringView base64 =
            StringView(text).substr(0, text.size() - LXJSONCoderDataSuffix.size());
        if (base64.empty()) return Value();
        auto data = base64Decode(base64);
        return data ? Value(std::move(*data)) : Value();
      }
      if (auto date = parseArchiveDate(text)) return Value(*date);
      return value;
    }
    case Value::Type::Dictionary: {
      Dictionary out;
      for (const auto& [key, member] : *value.asDictionary()) {
        Value plain = decodeFoundationObject(member);
        out.set(key, plain.isNull() ? member : std::move(plain));
      }
      return Value(std::move(out));
    }
    case Value::Type::Array: {
      Array out;
      out.reserve(value.asArray()->size());
      for (const Value& member : *value.asArray()) {
        Value plain = decodeFoundationObject(member);
        out.push_back(plain.isNull() ? member : std::move(plain));
      }
      return Value(std::move(out));
    }
    default:
      return Value();
  }
}

}  // namespace lx
