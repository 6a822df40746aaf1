// The published layout of the platform's keyed archives, shared by the
// archiver, the unarchiver and the archive description:
//
//   { "$version": 100000, "$archiver": "NSKeyedArchiver",
//     "$top": { "root": UID(1) },
//     "$objects": [ "$null", <object 1>, ... ] }
//
// Objects refer to each other by UIDs (indexes into "$objects", UID 0 being
// "$null"); an object of a class is a dictionary whose "$class" UID names a
// class record { "$classname": "Name", "$classes": ["Name", ..., "NSObject"] }.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "vantorcore/platform/Error.h"
#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/String.h"
#include "vantorcore/platform/Value.h"

namespace lx::keyedarchive {

inline constexpr StringView kArchiverKey = u"$archiver";
inline constexpr StringView kArchiverName = u"NSKeyedArchiver";
inline constexpr StringView kVersionKey = u"$version";
inline constexpr std::int64_t kVersion = 100000;
inline constexpr StringView kTopKey = u"$top";
inline constexpr StringView kObjectsKey = u"$objects";
inline constexpr StringView kNull = u"$null";
inline constexpr StringView kClassKey = u"$class";
inline constexpr StringView kClassNameKey = u"$classname";
inline constexpr StringView kClassesKey = u"$classes";
/// The platform's root class, which stands for `Object` in class records.
inline constexpr StringView kRootClassName = u"NSObject";

/// The platform classes that archives name for `LXUUID` ("NSUUID") and
/// `URLObject` ("NSURL").
const Class& uuidClass();
const Class& urlClass();

/// The UID value of `index`, as property lists carry it.
Value uid(std::uint64_t index);
/// The index of a UID value, or absent for any other value.
std::optional<std::uint64_t> uidIndex(const Value& value);

/// Whether `top` has the keys and values of a keyed archive's top level.
bool isKeyedArchive(const Dictionary& top);

/// An error of `NSCocoaErrorDomain` with `code` and `description` as its
/// localised description.
ErrorPtr coderError(std::int64_t code, String description);

/// Counts one level of nesting for as long as it lives.
struct DepthGuard {
  std::size_t& depth;
  explicit DepthGuard(std::size_t& d) : depth(++d) {}
  ~DepthGuard() { --depth; }
};

}  // namespace lx::keyedarchive
