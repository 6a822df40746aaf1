// `KeyedUnarchiver`: reads the desktop platform's keyed archives (see
// KeyedArchiver.h for the layout and how values map), whether this library
// or the platform wrote them.
//
// What comes back for the platform's classes:
//   NSString, NSMutableString ("NS.string")      string
//   NSNumber (inline), NSData, NSMutableData     number, data
//   NSDate ("NS.time")                           date
//   NSArray, NSMutableArray, NSSet, NSMutableSet,
//   NSOrderedSet, NSMutableOrderedSet            array (sets keep archive order)
//   NSDictionary, NSMutableDictionary            dictionary (keys must be strings)
//   NSUUID ("NS.uuidbytes")                      LXUUID
//   NSURL ("NS.base", "NS.relative")             URLObject
//   NSNull, "$null"                              null
// Any other class is looked up in the class registry ("$classname", then
// each name of "$classes") and made by its keyed factory with this
// unarchiver, then `awakeAfterUsingCoder`. Each object is decoded once, so
// shared objects come back shared.
//
// Secure decoding (`requiresSecureCoding`, on by default as on the
// platform): `decodeObjectOfClass(es)` accepts only values of the given
// classes (members of arrays, sets and dictionaries too); plain
// `decodeObjectForKey` accepts only property-list kinds (strings, numbers,
// data, dates, arrays, dictionaries, null); library classes must adopt
// `SecureCoding`. The class is checked before anything is instantiated.
//
// Failures never crash or recurse without bound. With the default policy
// (`SetErrorAndReturn`) the first failure is kept in `error()`, the failing
// decode returns null or 0, and so does every decode after it. Errors are in
// NSCocoaErrorDomain: 4864 (`NSCoderReadCorruptError`) for malformed
// archives, UIDs out of range, unknown classes, classes that are not allowed
// and objects nested deeper than `kMaximumDepth`; 4865
// (`NSCoderValueNotFoundError`) for a missing root. An object that refers
// back to itself while it is being decoded (a cycle) gives null and the line
// "CONDITION FAILED: <what>" instead.
//
// An unarchiver is used by one thread at a time.
#pragma once

#include "vantorcore/Export.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "vantorcore/archiving/KeyedArchiver.h"
#include "vantorcore/platform/Coder.h"
#include "vantorcore/platform/KeylessCoding.h"

namespace LX_API lx {

class KeyedUnarchiver : public Coder {
 public:
  /// How deep objects (and arrays and dictionaries) may nest while decoding.
  static constexpr std::size_t kMaximumDepth = 1024;

  /// An unarchiver for `data`, or null with error 4864 when it is not a
  /// keyed archive (not a property list, or no "$archiver"
  /// "NSKeyedArchiver", "$version" 100000, "$top" dictionary and "$objects"
  /// array).
  static std::unique_ptr<KeyedUnarchiver> initForReadingFromData(DataView data,
                                                                 ErrorPtr* error = nullptr);

  /// The root object of `data` if it is of one of `classes`, decoded
  /// securely; null with the error otherwise.
  static Value unarchivedObjectOfClasses(std::span<const Class* const> classes, DataView data,
                                         ErrorPtr* error = nullptr);
  /// Decodes the root object and checks it is a `cls` (or derives from it); null, with `error` set,
  /// otherwise.
  static Value unarchivedObjectOfClass(const Class& cls, DataView data, ErrorPtr* error = nullptr);

  [[nodiscard]] bool requiresSecureCoding() const override { return requiresSecureCoding_; }
  /// When on, only classes that support secure coding are decoded and each decode must name its
  /// expected classes.
  void setRequiresSecureCoding(bool on) noexcept { requiresSecureCoding_ = on; }
  [[nodiscard]] DecodingFailurePolicy decodingFailurePolicy() const override { return policy_; }
  /// What a failed decode does: raise, or set the error and return null.
  void setDecodingFailurePolicy(DecodingFailurePolicy policy) noexcept { policy_ = policy; }

  [[nodiscard]] bool containsValueForKey(StringView key) override;
  /// The object under `key` of the object being decoded (at the top level:
  /// of "$top"); null when missing.
  Value decodeObjectForKey(StringView key) override;
  /// `decodeObjectForKey(NSKeyedArchiveRootObjectKey)`.
  Value decodeObject() override;
  Value decodeObjectOfClasses(std::span<const Class* const> classes, StringView key) override;
  /// Numbers convert; other values give false or 0. An integer outside the
  /// type's range fails with 4864 and gives 0.
  bool decodeBoolForKey(StringView key) override;
  std::int32_t decodeInt32ForKey(StringView key) override;
  std::int64_t decodeInt64ForKey(StringView key) override;
  double decodeDoubleForKey(StringView key) override;
  float decodeFloatForKey(StringView key) override;
  std::optional<Data> decodeBytesForKey(StringView key) override;
  /// Keyless reading of "$<n>" (see KeyedArchiver.h).
  bool decodeValueOfObjCType(const char* type, void* address, std::size_t size) override;

  /// Releases the decoded objects; later decodes make new ones.
  void finishDecoding();

  /// Use `initForReadingFromData`; public only for `std::make_unique`.
  explicit KeyedUnarchiver(Dictionary top);
  ~KeyedUnarchiver() override;

 protected:
  [[nodiscard]] String coderName() const override { return u"KeyedUnarchiver"; }

 private:
  // The classes a decode accepts when secure: the caller's list, or (for
  // `decodeObjectForKey`) the property-list kinds.
  struct Allowed {
    std::span<const Class* const> classes;
    bool explicitly = false;
    StringView key;
  };
  static Allowed propertyListKinds(StringView key) { return Allowed{{}, false, key}; }
  struct Frame {
    const Dictionary* keys;
    int keylessCount = 0;
  };
  enum class State : std::uint8_t { Undecoded, Decoding, Decoded };

  const Value* entry(StringView key) const;
  Value decodeEntry(const Value& entry, const Allowed& allowed);
  Value decodeIndex(std::uint64_t index, const Allowed& allowed);
  Value decodeObjectEntry(std::uint64_t index, const Dictionary& object, const Allowed& allowed);
  Value decodePlatformObject(std::uint64_t index, StringView className, const Dictionary& object,
                             const Allowed& allowed);
  Value decodeCodedObject(const Class& cls, const Dictionary& object);
  Value decodeMembers(std::uint64_t index, const Value& refs, const Allowed& allowed);
  // The class record's "$classname" and "$classes", or absent.
  std::optional<std::vector<String>> classNames(const Dictionary& object);
  bool isAllowed(const Class& cls, const Allowed& allowed);
  std::optional<std::int64_t> integerFor(StringView key, std::int64_t min, std::int64_t max);
  Value corrupt(String description);

  Dictionary top_;
  const Array& objects_;  // "$objects" of `top_`
  std::vector<Value> decoded_;
  std::vector<State> states_;
  std::vector<Frame> frames_;
  std::size_t depth_ = 0;
  bool requiresSecureCoding_ = true;
  DecodingFailurePolicy policy_ = DecodingFailurePolicy::SetErrorAndReturn;
  KeylessCoding keyless_;
};

}  // namespace lx
