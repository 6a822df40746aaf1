// `KeyedArchiver`: writes object graphs as the desktop platform's keyed
// archives (a binary property list; see KeyedUnarchiver.h for reading), so
// that archives move both ways between this library and the platform.
//
// What is written for each value:
//   string                 the string itself ("NSString"), equal strings once
//   bool, integer, real    the number itself ("NSNumber")
//   data                   the data itself ("NSData")
//   null                   UID 0, "$null"
//   date                   "NSDate"        { "NS.time": seconds since 2001 }
//   array                  "NSArray"       { "NS.objects": [UIDs] }
//   dictionary             "NSDictionary"  { "NS.keys": [UIDs], "NS.objects": [UIDs] }
//   LXUUID                 "NSUUID"        { "NS.uuidbytes": 16 bytes }
//   URLObject              "NSURL"         { "NS.base": UID, "NS.relative": UID }
//   BoxedValue             its number
//   other objects          the class of `classForCoder` with the keys its
//                          `encodeWithCoder` writes, after
//                          `replacementObjectForCoder`
// Objects are written once: a second reference to the same object (by
// identity) refers to the first. Keyless coding uses the keys "$0", "$1"...
// of the object being written, as the platform does.
//
// Failures do not stop the walk; the first one is kept in `encodingError()`
// (NSCocoaErrorDomain 4866, `NSCoderInvalidValueError`) and no data is
// produced: an object whose class does not adopt `Coding`, one that does not
// adopt `SecureCoding` when secure coding is required, an unsupported
// keyless type, or objects nested deeper than `kMaximumDepth`.
//
// An archiver is used by one thread at a time.
#pragma once

#include "vantorcore/Export.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

#include "vantorcore/platform/Coder.h"
#include "vantorcore/platform/PropertyList.h"

namespace LX_API lx {

/// The key of the root object in the top-level dictionary.
inline constexpr StringView NSKeyedArchiveRootObjectKey = u"root";

class KeyedArchiver : public Coder {
 public:
  /// How deep objects (and arrays and dictionaries) may nest.
  static constexpr std::size_t kMaximumDepth = 1024;

  /// An archiver that refuses, when `requiringSecureCoding`, objects whose
  /// class does not adopt `SecureCoding`.
  explicit KeyedArchiver(bool requiringSecureCoding = true);
  ~KeyedArchiver() override;

  /// The archive of `root` under "root", or absent with the first encoding
  /// error.
  static std::optional<Data> archivedDataWithRootObject(const Value& root,
                                                        bool requiringSecureCoding,
                                                        ErrorPtr* error = nullptr);

  [[nodiscard]] bool requiresSecureCoding() const override { return requiresSecureCoding_; }
  /// Binary (the default, as the platform writes) or XML.
  void setOutputFormat(PropertyList::Format format) noexcept { format_ = format; }
  /// The property-list format `encodedData` writes (binary unless changed).
  [[nodiscard]] PropertyList::Format outputFormat() const noexcept { return format_; }

  /// Writes `value` under `key` of the object being written (at the top
  /// level: of the archive's "$top").
  void encodeObject(const Value& value, StringView key) override;
  /// `encodeObject(root, NSKeyedArchiveRootObjectKey)`.
  void encodeObject(const Value& root) override;
  /// An object written only as a reference: it becomes the UID of the same
  /// object when something else writes it unconditionally, else "$null".
  /// Other values are written as `encodeObject` does.
  void encodeConditionalObject(const Value& value, StringView key) override;
  void encodeBool(bool value, StringView key) override;
  void encodeInt32(std::int32_t value, StringView key) override;
  void encodeInt64(std::int64_t value, StringView key) override;
  void encodeDouble(double value, StringView key) override;
  void encodeFloat(float value, StringView key) override;
  /// The bytes as data under `key`.
  void encodeBytes(DataView bytes, StringView key) override;
  /// Keyless coding under "$<n>": "@" objects, "*" strings, "#" class
  /// records, scalars as numbers.
  void encodeValueOfObjCType(const char* type, const void* address) override;

  /// Completes the archive; later encode calls are ignored.
  void finishEncoding();
  /// The archive (finishing it first), or absent when encoding failed.
  const std::optional<Data>& encodedData();
  /// The first encoding failure, or null.
  [[nodiscard]] const ErrorPtr& encodingError() const noexcept { return encodingError_; }

 protected:
  [[nodiscard]] String coderName() const override { return u"KeyedArchiver"; }

 private:
  struct Frame {
    std::uint64_t index;  // the object's place in "$objects"; 0 for "$top"
    Dictionary keys;
    int keylessCount = 0;
  };
  struct Conditional {
    std::uint64_t holder;  // as Frame::index
    String key;
    ObjectPtr object;
  };

  std::uint64_t encodeValue(const Value& value);
  std::uint64_t encodeString(const SharedString& text);
  std::uint64_t encodeObjectReference(const ObjectPtr& object);
  std::uint64_t encodeCodedObject(const ObjectPtr& object);
  // A platform object: `keys` plus "$class", written at a new index.
  std::uint64_t encodePlatformObject(Dictionary keys, const Class& cls);
  std::uint64_t classRecord(const Class& cls);
  std::uint64_t append(Value value);
  void set(StringView key, Value value);
  const SharedString& internedKey(StringView key);
  // UID values, made once each: copies share them.
  const Value& uid(std::uint64_t index);
  void fail(String description);

  bool requiresSecureCoding_;
  PropertyList::Format format_ = PropertyList::Format::Binary;
  Array objects_;
  std::vector<Frame> frames_;
  std::size_t depth_ = 0;
  std::unordered_map<const Object*, std::uint64_t> objectIndexes_;
  std::vector<ObjectPtr> written_;  // keeps identities unique while writing
  std::unordered_map<StringView, std::uint64_t> stringIndexes_;
  std::vector<SharedString> strings_;  // owns the views above
  // Key texts, made once: objects of a class repeat the same keys.
  std::unordered_map<StringView, SharedString> keys_;
  std::vector<Value> uids_;
  std::unordered_map<const Class*, std::uint64_t> classIndexes_;
  std::vector<Conditional> conditionals_;
  ErrorPtr encodingError_;
  bool finished_ = false;
  std::optional<Data> data_;
};

}  // namespace lx
