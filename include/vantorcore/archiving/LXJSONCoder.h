// The JSON keyed archive: `LXJSONKeyedArchiver` writes an object graph as a
// pretty-printed JSON document and `LXJSONKeyedUnarchiver` reads it back, as
// well as documents of the server-side serialiser (proxies marked "@class" and
// "@resolves-to", SQL temporal values).
//
// Document shape (both directions):
//
//   { "Account" : {                                  root: its class name, once
//       "name" : "Joe",                              strings, numbers as is
//       "created" : "2024-03-01 14:05:00 GMT",       dates, minute precision
//       "avatar" : "AAEC.$_data_",                   bytes 00 01 02
//       "owner" : { "first" : "Ann", "@class" : "Person" },
//       "items" : [ { "Item" : [ { "id" : 1, "@class" : "Item" } ] } ] } }
//
// Objects take part through `Coding` (see platform/Object.h): the archiver
// calls `encodeWithCoder` with itself, the unarchiver finds classes by name
// (aliases first, then `ClassRegistry`) and calls their `initWithCoder`.
// There are no object ids: an object reached twice is written twice, and a
// cycle throws. Neither coder is thread-safe; each serves one document on
// one thread.
#pragma once

#include "vantorcore/Export.h"

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "vantorcore/platform/Coder.h"
#include "vantorcore/platform/Data.h"
#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/Value.h"

namespace LX_API lx {

class LXJSONKeyedArchiver;

/// The archive's markers.
///@{
inline constexpr StringView LXJSONCoderClassKey = u"@class";
inline constexpr StringView LXJSONCoderResolvesToKey = u"@resolves-to";
inline constexpr StringView LXJSONCoderDataSuffix = u".$_data_";
///@}

/// The name and reason of the exception a cycle raises.
inline constexpr StringView LXJSONCoderCircularReferenceException =
    u"Circular Reference Not Allowed";

/// Optional hook of an archiver's delegate.
class LXJSONKeyedArchiverDelegate {
 public:
  virtual ~LXJSONKeyedArchiverDelegate() = default;
  /// Asked before each string or scalar is stored, with the object being
  /// encoded (an object or array value), the value and its key. Return a
  /// replacement or null to keep `value`. A replacement that is not a string,
  /// number or JSON array/dictionary is refused: the line "LXJSONCoder -
  /// delegate substitued an invalid JSON object, cannot encode data." is
  /// logged and the key is left out.
  virtual Value substitutionForValue(LXJSONKeyedArchiver& /*archiver*/, const Value& /*object*/,
                                     const Value& /*value*/, StringView /*key*/) {
    return Value();
  }
};

/// Writes one object graph as a JSON keyed archive.
///
///   LXJSONKeyedArchiver archiver;
///   archiver.suppressKey(u"password", Account::staticClass());
///   archiver.encodeObject(Value(account));
///   std::optional<Data> json = archiver.encodedData();
class LXJSONKeyedArchiver : public Coder {
 public:
  /// The secure-coding flag is kept for callers but plays no part in the
  /// document.
  explicit LXJSONKeyedArchiver(bool requiringSecureCoding = false);

  [[nodiscard]] bool requiresSecureCoding() const noexcept override {
    return requiresSecureCoding_;
  }

  /// Whether nested bodies carry "@class" and arrays of the application's
  /// objects get the one-key wrapper (default on).
  [[nodiscard]] bool encodeClassMetadata() const noexcept { return encodeClassMetadata_; }
  /// Turns the class metadata described above on or off.
  void setEncodeClassMetadata(bool on) noexcept { encodeClassMetadata_ = on; }
  /// Read by archived objects to decide whether to write secret fields
  /// (default off); the archiver itself never looks at it.
  [[nodiscard]] bool encodePasswords() const noexcept { return encodePasswords_; }
  /// Turns `encodePasswords` on or off for the objects archived from now on.
  void setEncodePasswords(bool on) noexcept { encodePasswords_ = on; }

  /// Held weakly; asked for substitutions as described on the delegate.
  void setDelegate(std::weak_ptr<LXJSONKeyedArchiverDelegate> delegate) {
    delegate_ = std::move(delegate);
  }
  /// The delegate, held weakly; null when none was set or it is gone.
  [[nodiscard]] std::shared_ptr<LXJSONKeyedArchiverDelegate> delegate() const {
    return delegate_.lock();
  }

  /// Never writes `key` for objects of exactly `cls` (subclasses still do).
  void suppressKey(StringView key, const Class& cls);
  /// Whether `key` of `cls` is left out of the output (by the delegate or the class's suppressed
  /// keys).
  [[nodiscard]] bool isKeySuppressed(StringView key, const Class& cls) const;

  /// Encodes the root object: the document becomes { <class name> : body }.
  /// A second call replaces the root, but `encodedData` once computed is
  /// kept. A root that is not an object logs a condition failure. Throws
  /// `Exception` named `LXJSONCoderCircularReferenceException` with reason
  /// "Found circular reference for <description> " when an object is reached
  /// again while it is being encoded (by `isEqual`, not identity).
  void encodeObject(const Value& root) override;
  /// Encodes any value under `key` in the body being filled: strings and
  /// numbers and all-JSON arrays/dictionaries as they are, data as base64 +
  /// ".$_data_", dates as "yyyy-MM-dd HH:mm:00 GMT", arrays member by member,
  /// objects as nested bodies. Null values, suppressed keys and empty arrays
  /// write nothing; the delegate is not asked.
  void encodeObject(const Value& object, StringView key) override;
  void encodeString(StringView value, StringView key) override;
  void encodeBool(bool value, StringView key) override;
  void encodeInt32(std::int32_t value, StringView key) override;
  void encodeInt64(std::int64_t value, StringView key) override;
  void encodeDouble(double value, StringView key) override;
  /// Stored as a single-precision number ("0.1", not "0.100000001").
  void encodeFloat(float value, StringView key) override;
  /// Stored as data is: base64 + ".$_data_".
  void encodeBytes(DataView bytes, StringView key) override;
  /// Stores a ready JSON value under `key`, subject to suppression and the
  /// delegate hook; every string and scalar operation goes through it.
  void setObject(Value value, StringView key);

  /// The JSON form of any value (see `encodeObject(value, key)`), or absent
  /// for values that write nothing (null, empty arrays). Throws on cycles.
  std::optional<Value> getEncodingFor(const Value& value);
  /// "2024-03-01 14:05:00 GMT" for any instant of that minute, in GMT.
  static String getEncodingForDate(Date date);

  /// The document, pretty-printed; computed on the first successful call
  /// and kept. Absent before `encodeObject` or when the graph holds values
  /// JSON cannot express (NaN, infinities).
  const std::optional<Data>& encodedData();
  /// Text only when serialisation reports an error, and then only as far as
  /// it produced data, so in practice always absent: take `encodedData` for
  /// the text. Kept this way for compatibility with existing callers.
  std::optional<String> json() const;

 protected:
  String coderName() const override { return u"LXJSONKeyedArchiver"; }

 private:
  struct Frame {
    const Value* object;
    Dictionary body;
  };
  // Pops the frame a nested encoding pushed, also when it ends by exception.
  struct StackGuard {
    LXJSONKeyedArchiver* archiver;
    ~StackGuard() { archiver->pop(); }
  };
  void push(const Value& object) { stack_.push_back(Frame{&object, {}}); }
  void pop() { stack_.pop_back(); }
  const Class* topObjectClass() const;
  bool suppressedInTop(StringView key) const;
  std::optional<Value> getEncodingForArray(const Array& array, const Value& holder);
  /// The keyed body of an object (or of a dictionary JSON cannot express),
  /// with "@class" when `withClass`.
  Value encodeBody(const Value& object, bool withClass);

  std::vector<Frame> stack_;
  std::map<String, std::set<String, std::less<>>, std::less<>> suppressedKeys_;
  std::optional<Value> finalJSONObject_;
  std::optional<Data> encodedData_;
  std::weak_ptr<LXJSONKeyedArchiverDelegate> delegate_;
  bool requiresSecureCoding_;
  bool encodeClassMetadata_ = true;
  bool encodePasswords_ = false;
};

/// Reads a JSON keyed archive. `initWithCoder` implementations see it as an
/// ordinary keyed coder; it keeps no object table, so every value is built
/// afresh.
///
///   auto account = LXJSONKeyedUnarchiver::unarchiveObjectWithData(json).objectAs<Account>();
///
/// or, with aliases:
///
///   auto reader = LXJSONKeyedUnarchiver::initForReadingWithData(json);
///   if (reader) { reader->addAlias(u"list", MyList::staticClass()); reader->decodeObject(); }
class LXJSONKeyedUnarchiver : public Coder {
 public:
  /// An unarchiver positioned on the parsed document (id "root"), or null
  /// when the data is not JSON: then the line "Error <user info>" is logged.
  static std::unique_ptr<LXJSONKeyedUnarchiver> initForReadingWithData(DataView data);
  /// `initForReadingWithData(data)->decodeObject()`; null for malformed JSON.
  static Value unarchiveObjectWithData(DataView data);
  /// Reads the whole file and unarchives it; null, without a message, when
  /// the file cannot be read.
  static Value unarchiveObjectWithFile(const String& path);

  /// Maps `alias` (a class word such as "set", or a server-side class name)
  /// to `cls`, replacing an earlier mapping. Register before `decodeObject`.
  void addAlias(StringView alias, const Class& cls);
  /// The alias's class, else the registered class of that name, else null.
  [[nodiscard]] const Class* getClassForKey(const Value& name) const;

  /// Decodes the current value: for the root, the instance named by the
  /// top object's first key (later keys are ignored); dictionaries holding
  /// "@class" become instances of the class it (or "@resolves-to") names;
  /// arrays go through `decodeArrayOfClass`; strings come back as they are;
  /// null when no class resolves. May throw `InvalidArgumentException` in
  /// the two fatal cases of `decodeArrayOfClass`.
  Value decodeObject() override;
  /// The value under `key` of the current dictionary, converted by
  /// `decodeFoundationObject`: nested bodies come back as plain dictionaries
  /// (their "@class" entry included) and arrays as plain arrays. Null when
  /// missing or when the current value is not a dictionary.
  Value decodeObjectForKey(StringView key) override;
  [[nodiscard]] bool containsValueForKey(StringView key) override;
  /// Scalars convert from numbers and from text ("42" => 42, "true" => true);
  /// missing or other values give 0 / false. The 64-bit, double and float
  /// decoders answer 0 for keys that begin with "@" even when the entry
  /// exists, as the platform's key-value lookup they stand for does.
  bool decodeBoolForKey(StringView key) override;
  std::int32_t decodeInt32ForKey(StringView key) override;
  std::int64_t decodeInt64ForKey(StringView key) override;
  double decodeDoubleForKey(StringView key) override;
  float decodeFloatForKey(StringView key) override;
  /// The data under `key` (written by `encodeBytes` or as a data object);
  /// absent when missing or not data.
  std::optional<Data> decodeBytesForKey(StringView key) override;

  /// Decodes the current value as an array of `cls` (may be null): the
  /// writer's one-key wrapper, an array of many-key members (read as plain
  /// dictionaries), or plain values. When the id has no class, logs "Change
  /// arrays class from <id> to <wrapper key>" and reads the members under the
  /// wrapper key. Throws `InvalidArgumentException` when a member decodes to
  /// null, or when the first member is an empty dictionary and `cls` is
  /// null.
  Value decodeArrayOfClass(const Class* cls);
  /// Each member of the current array through `decodeFoundationObject`,
  /// dropping members that give null (JSON nulls, empty strings).
  Array decodeArrayOfPrimitives();
  /// Decodes the current dictionary, which holds "@class": SQL temporal
  /// bodies become dates, others instances of the "@resolves-to" or "@class"
  /// class; null when none resolves.
  Value decodeHibernateProxy();
  /// The date of the current SQL temporal body ("$" under "@class"
  /// "sql-timestamp", "sql-date" or "sql-time", in GMT), or null.
  ///   "2013-05-01 10:20:30.0" => 2013-05-01 10:20:30 GMT
  ///   "2013-05-01 10:20:30.5" => null (only ".0" is cut)
  Value decodeDate();
  /// A plain JSON value with markers turned back into values; null for JSON
  /// null, empty strings and undecodable data strings.
  ///   "2024-03-01 14:05:00 GMT" => the date     "AAEC.$_data_" => 00 01 02
  ///   ".$_data_"                => null         "hello"        => "hello"
  /// Dictionaries and arrays convert member by member, keeping members that
  /// give null unchanged.
  static Value decodeFoundationObject(const Value& value);
  /// True only for a dictionary of fewer than two keys whose first key is
  /// not "string" and names no class. Throws `InvalidArgumentException` for
  /// an empty dictionary.
  [[nodiscard]] bool isObjectForUnknownClass(const Dictionary& dictionary) const;

  /// Makes `value` the current value; the id (when given) names the class
  /// to use. `pop` removes the last value and the last id.
  void pushObject(Value value, std::optional<String> id);
  /// Pushes the current dictionary's value under `key` without copying it;
  /// false, and nothing pushed, when there is none. The usual way for an
  /// `initWithCoder` to rebuild a nested object or array of objects:
  ///   if (reader.pushObjectForKey(u"items", u"Item")) {
  ///     items = reader.decodeArrayOfClass(&Item::staticClass());
  ///     reader.pop();
  ///   }
  bool pushObjectForKey(StringView key, std::optional<String> id);
  /// Leaves the object entered by the last successful `pushObjectForKey`.
  void pop();
  /// The current value (null when the stack is empty) and its id.
  ///@{
  [[nodiscard]] const Value& topJsonObject() const;
  [[nodiscard]] String topJsonObjectId() const;
  ///@}

 protected:
  String coderName() const override { return u"LXJSONKeyedUnarchiver"; }

 private:
  explicit LXJSONKeyedUnarchiver(Value document);
  void push(const Value* value, std::optional<String> id);
  const Value* currentMember(StringView key) const;
  const Class* getClassForName(StringView name) const;

  Value document_;
  // Values pushed from outside live as long as the unarchiver, so that the
  // stack can point at them like at members of the document.
  std::deque<Value> retained_;
  std::vector<String> objectIDStack_;
  std::vector<const Value*> jsonObjectStack_;
  std::map<String, const Class*, std::less<>> mappingClasses_;
};

}  // namespace lx
