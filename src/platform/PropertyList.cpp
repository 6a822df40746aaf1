#include "vantorcore/platform/PropertyList.h"

#include <plist/plist.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "platform/BinaryPropertyList.h"
#include "vantorcore/platform/FileIO.h"

namespace lx {

namespace {

constexpr std::size_t kMaximumDepth = PropertyList::kMaximumDepth;
// How many objects shared references in a binary document may add when they
// are expanded into a tree, beyond the objects the document holds.
constexpr std::uint64_t kMaximumExtraObjects = 1u << 20;

struct PlistDeleter {
  void operator()(void* node) const { plist_free(static_cast<plist_t>(node)); }
};
using PlistPtr = std::unique_ptr<void, PlistDeleter>;

struct MallocDeleter {
  void operator()(void* p) const { std::free(p); }
};
using MallocString = std::unique_ptr<char, MallocDeleter>;

ErrorPtr plistError(std::int64_t code, String description) {
  return Error::make(
      String(NSCocoaErrorDomain), code,
      Dictionary{{String(NSLocalizedDescriptionKey), Value(std::move(description))}});
}

ErrorPtr writeError(StringView reason) {
  return plistError(NSPropertyListWriteInvalidError,
                    u"The property list couldn\u2019t be written: " + String(reason));
}

ErrorPtr corruptError(StringView reason) {
  return plistError(
      NSPropertyListReadCorruptError,
      stringWithFormat(u"The data couldn\u2019t be read because it isn\u2019t in the correct "
                       u"format. (%@)",
                       reason));
}

// ---------------------------------------------------------------------------
// Guards run before libplist sees XML: it recurses once per nesting level,
// so deep documents would overflow the stack.

// The deepest nesting of <array> and <dict> elements, skipping comments,
// CDATA sections, processing instructions and declarations, whose text could
// otherwise hide or fake tags. Stops counting once past the limit.
std::size_t xmlNestingDepth(std::string_view x) {
  std::size_t depth = 0, deepest = 0;
  const auto skipTo = [&](std::size_t from, std::string_view end) {
    const std::size_t at = x.find(end, from);
    return at == std::string_view::npos ? x.size() : at + end.size();
  };
  for (std::size_t i = x.find('<'); i < x.size(); i = x.find('<', i)) {
    const std::string_view rest = x.substr(i);
    if (rest.starts_with("<!--")) {
      i = skipTo(i + 4, "-->");
    } else if (rest.starts_with("<![CDATA[")) {
      i = skipTo(i + 9, "]]>");
    } else if (rest.starts_with("<?")) {
      i = skipTo(i + 2, "?>");
    } else if (rest.starts_with("<!")) {
      i = skipTo(i + 2, ">");
    } else {
      const std::size_t close = skipTo(i + 1, ">");
      const std::string_view tag = x.substr(i, close - i);
      const bool closing = tag.starts_with("</");
      const std::string_view name = tag.substr(closing ? 2 : 1);
      const bool container = name.starts_with("array") || name.starts_with("dict");
      if (container && closing) {
        if (depth > 0) --depth;
      } else if (container && !tag.ends_with("/>")) {
        deepest = std::max(deepest, ++depth);
        if (deepest > kMaximumDepth) return deepest;
      }
      i = close;
    }
  }
  return deepest;
}

// ---------------------------------------------------------------------------
// libplist 2.2 keeps more than its public getters and setters expose: whether
// an integer above INT64_MAX is signed, and dates outside the 32-bit range of
// seconds. Its XML writer and reader do know both, so those few values go
// through XML text.

// The text of the single element libplist writes for `node`.
std::string elementText(plist_t node) {
  char* xml = nullptr;
  std::uint32_t length = 0;
  plist_to_xml(node, &xml, &length);
  const MallocString owner(xml);
  if (!xml) return {};
  const std::string_view doc(xml, length);
  const std::size_t open = doc.find("<plist version=\"1.0\">");
  const std::size_t close = doc.rfind("</plist>");
  if (open == std::string_view::npos || close == std::string_view::npos) return {};
  std::string_view body = doc.substr(open + 21, close - open - 21);
  while (!body.empty() && (body.front() == '\n' || body.front() == '\t')) body.remove_prefix(1);
  while (!body.empty() && body.back() == '\n') body.remove_suffix(1);
  return std::string(body);
}

// A node made from the text of one element.
plist_t nodeFromElement(const std::string& element) {
  const std::string doc = "<plist version=\"1.0\">" + element + "</plist>";
  plist_t node = nullptr;
  plist_from_xml(doc.data(), static_cast<std::uint32_t>(doc.size()), &node);
  return node;
}

// Seconds since 1970 of "<date>YYYY-MM-DDTHH:MM:SSZ</date>", or absent.
std::optional<double> secondsOfDateElement(const std::string& element) {
  long long year = 0;
  int month = 0, day = 0, hour = 0, minute = 0, second = 0;
  if (std::sscanf(element.c_str(), "<date>%lld-%d-%dT%d:%d:%dZ</date>", &year, &month, &day, &hour,
                  &minute, &second) != 6) {
    return std::nullopt;
  }
  std::tm tm{};
  tm.tm_year = static_cast<int>(year - 1900);
  tm.tm_mon = month - 1;
  tm.tm_mday = day;
  tm.tm_hour = hour;
  tm.tm_min = minute;
  tm.tm_sec = second;
  return static_cast<double>(timegm(&tm));
}

// "YYYY-MM-DDTHH:MM:SSZ" of whole seconds since 1970, or absent when the
// year does not fit the format.
std::optional<std::string> dateElement(double secondsSince1970) {
  const auto t = static_cast<std::time_t>(std::floor(secondsSince1970));
  std::tm tm{};
  if (!gmtime_r(&t, &tm) || tm.tm_year + 1900 < 0 || tm.tm_year + 1900 > 9999) return std::nullopt;
  char text[64];
  std::snprintf(text, sizeof text, "<date>%04d-%02d-%02dT%02d:%02d:%02dZ</date>", tm.tm_year + 1900,
                tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec);
  return std::string(text);
}

constexpr StringView kUIDKey = u"CF$UID";

Value toValue(plist_t node) {
  switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
      std::uint8_t b = 0;
      plist_get_bool_val(node, &b);
      return Value(b != 0);
    }
    case PLIST_UINT: {
      std::uint64_t v = 0;
      plist_get_uint_val(node, &v);
      if (v <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
        return Value(static_cast<std::int64_t>(v));
      }
      if (elementText(node).starts_with("<integer>-")) return Value(static_cast<std::int64_t>(v));
      return Value(v);
    }
    case PLIST_REAL: {
      double v = 0;
      plist_get_real_val(node, &v);
      return Value(v);
    }
    case PLIST_STRING:
    case PLIST_KEY: {
      std::uint64_t length = 0;
      const char* text = plist_get_string_ptr(node, &length);
      return Value(text ? fromUTF8(std::string_view(text, length)) : String());
    }
    case PLIST_DATA: {
      std::uint64_t length = 0;
      const char* bytes = plist_get_data_ptr(node, &length);
      const auto* p = reinterpret_cast<const std::uint8_t*>(bytes);
      return Value(bytes ? Data(p, p + length) : Data());
    }
    case PLIST_DATE: {
      std::int32_t sec = 0, usec = 0;
      plist_get_date_val(node, &sec, &usec);
      // The getter cannot express dates outside 32-bit seconds and pins them
      // to the ends of that range; the XML text still has them.
      if (sec == std::numeric_limits<std::int32_t>::min() ||
          sec == std::numeric_limits<std::int32_t>::max()) {
        if (auto exact = secondsOfDateElement(elementText(node))) return Value(Date(*exact));
      }
      return Value(Date::withTimeIntervalSinceReferenceDate(sec + usec / 1e6));
    }
    case PLIST_UID: {
      std::uint64_t v = 0;
      plist_get_uid_val(node, &v);
      return Value(Dictionary{{String(kUIDKey), Value(v)}});
    }
    case PLIST_ARRAY: {
      Array array;
      const std::uint32_t n = plist_array_get_size(node);
      array.reserve(n);
      for (std::uint32_t i = 0; i < n; ++i) array.push_back(toValue(plist_array_get_item(node, i)));
      return Value(std::move(array));
    }
    case PLIST_DICT: {
      Dictionary dict;
      plist_dict_iter it = nullptr;
      plist_dict_new_iter(node, &it);
      for (;;) {
        char* key = nullptr;
        plist_t item = nullptr;
        plist_dict_next_item(node, it, &key, &item);
        const MallocString owner(key);
        if (!item) break;
        if (key) dict.set(fromUTF8(key), toValue(item));
      }
      std::free(it);
      return Value(std::move(dict));
    }
    case PLIST_NONE:
      break;
  }
  return Value();
}

// ---------------------------------------------------------------------------

struct Writer {
  ErrorPtr* error;

  plist_t fail(String reason) {
    setError(error, writeError(reason));
    return nullptr;
  }

  // A C string for libplist, or absent for text it would cut short.
  static std::optional<std::string> cString(StringView s) {
    if (s.find(u'\0') != StringView::npos) return std::nullopt;
    return toUTF8(s);
  }

  plist_t node(const Value& v, std::size_t depth) {
    switch (v.type()) {
      case Value::Type::Null:
        return fail(u"null has no property-list form.");
      case Value::Type::Object:
        return fail(stringWithFormat(u"objects of class %@ have no property-list form.",
                                     v.asObject()->className()));
      case Value::Type::Bool:
        return plist_new_bool(v.boolValue() ? 1 : 0);
      case Value::Type::Integer:
        return plist_new_uint(static_cast<std::uint64_t>(v.int64Value()));
      case Value::Type::UnsignedInteger: {
        const std::uint64_t u = v.uint64Value();
        // The setter marks every integer as signed; only parsing makes a
        // large unsigned one.
        if (u > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
          return nodeFromElement("<integer>" + std::to_string(u) + "</integer>");
        }
        return plist_new_uint(u);
      }
      case Value::Type::Real:
        return plist_new_real(v.asReal()->value);
      case Value::Type::String: {
        const auto text = cString(*v.asString());
        if (!text) return fail(u"strings holding U+0000 have no property-list form.");
        return plist_new_string(text->c_str());
      }
      case Value::Type::Data: {
        const Data& d = *v.asData();
        return plist_new_data(reinterpret_cast<const char*>(d.data()), d.size());
      }
      case Value::Type::Date:
        return date(*v.asDate());
      case Value::Type::Array:
        return array(*v.asArray(), depth);
      case Value::Type::Dictionary:
        return dictionary(*v.asDictionary(), depth);
    }
    return fail(u"unknown value.");
  }

  plist_t date(Date date) {
    const double sinceReference = date.timeIntervalSinceReferenceDate();
    double whole = std::floor(sinceReference);
    auto usec = static_cast<std::int32_t>(std::lround((sinceReference - whole) * 1e6));
    if (usec >= 1000000) {
      whole += 1;
      usec = 0;
    }
    if (std::isfinite(whole) && whole > std::numeric_limits<std::int32_t>::min() &&
        whole < std::numeric_limits<std::int32_t>::max()) {
      return plist_new_date(static_cast<std::int32_t>(whole), usec);
    }
    const auto element =
        std::isfinite(whole) ? dateElement(date.timeIntervalSince1970()) : std::nullopt;
    plist_t node = element ? nodeFromElement(*element) : nullptr;
    return node ? node : fail(u"the date is outside the years 0 to 9999.");
  }

  plist_t array(const Array& items, std::size_t depth) {
    if (depth >= kMaximumDepth) return fail(u"the value nests too deeply.");
    PlistPtr out(plist_new_array());
    for (const Value& item : items) {
      plist_t child = node(item, depth + 1);
      if (!child) return nullptr;
      plist_array_append_item(out.get(), child);
    }
    return out.release();
  }

  plist_t dictionary(const Dictionary& dict, std::size_t depth) {
    if (dict.size() == 1 && dict.begin()->first == kUIDKey && dict.begin()->second.isInteger() &&
        (dict.begin()->second.type() == Value::Type::UnsignedInteger ||
         dict.begin()->second.int64Value() >= 0)) {
      return plist_new_uid(dict.begin()->second.uint64Value());
    }
    if (depth >= kMaximumDepth) return fail(u"the value nests too deeply.");
    PlistPtr out(plist_new_dict());
    for (const auto& [key, item] : dict) {
      const auto keyText = cString(key);
      if (!keyText) return fail(u"keys holding U+0000 have no property-list form.");
      plist_t child = node(item, depth + 1);
      if (!child) return nullptr;
      plist_dict_set_item(out.get(), keyText->c_str(), child);
    }
    return out.release();
  }
};

std::optional<Value> readBinary(DataView data, ErrorPtr* error) {
  String failure;
  std::optional<Value> value =
      detail::readBinaryPropertyList(data, kMaximumDepth, kMaximumExtraObjects, &failure);
  if (!value) setError(error, corruptError(failure));
  return value;
}

std::optional<Value> readXML(DataView data, ErrorPtr* error) {
  // A terminated copy: the XML reader must never run past the caller's bytes.
  const std::string text(asStringView(data));
  if (xmlNestingDepth(text) > kMaximumDepth) {
    setError(error, corruptError(u"The property list nests too deeply."));
    return std::nullopt;
  }
  plist_t root = nullptr;
  plist_from_xml(text.c_str(), static_cast<std::uint32_t>(text.size()), &root);
  const PlistPtr owner(root);
  if (!root) {
    setError(error, corruptError(u"The XML property list is malformed."));
    return std::nullopt;
  }
  return toValue(root);
}

}  // namespace

std::optional<Value> PropertyList::read(DataView data, ErrorPtr* error, Format* format) {
  if (data.empty()) {
    setError(error, corruptError(u"The data is empty."));
    return std::nullopt;
  }
  if (data.size() > std::numeric_limits<std::uint32_t>::max()) {
    setError(error, corruptError(u"The data is larger than 4 GiB."));
    return std::nullopt;
  }
  const bool binary = data.size() >= 8 && std::memcmp(data.data(), "bplist00", 8) == 0;
  std::optional<Value> value = binary ? readBinary(data, error) : readXML(data, error);
  if (value && format) *format = binary ? Format::Binary : Format::XML;
  return value;
}

std::optional<Data> PropertyList::write(const Value& value, Format format, ErrorPtr* error) {
  if (format == Format::Binary) {
    String failure;
    std::optional<Data> data = detail::writeBinaryPropertyList(value, kMaximumDepth, &failure);
    if (!data) setError(error, writeError(failure));
    return data;
  }
  Writer writer{error};
  const PlistPtr root(writer.node(value, 0));
  if (!root) return std::nullopt;
  char* bytes = nullptr;
  std::uint32_t length = 0;
  plist_to_xml(root.get(), &bytes, &length);
  const MallocString owner(bytes);
  if (!bytes) {
    setError(error, writeError(u"the backing library failed."));
    return std::nullopt;
  }
  const auto* p = reinterpret_cast<const std::uint8_t*>(bytes);
  return Data(p, p + length);
}

std::optional<Value> PropertyList::readFile(StringView path, ErrorPtr* error, Format* format) {
  const std::optional<Data> data = readFileContents(path, error);
  if (!data) return std::nullopt;
  return read(*data, error, format);
}

bool PropertyList::writeFileAtomically(const Value& value, Format format, StringView path,
                                       mode_t mode, ErrorPtr* error) {
  const std::optional<Data> data = write(value, format, error);
  return data && lx::writeFileAtomically(*data, path, mode, error);
}

}  // namespace lx
