// Model classes and archive builders shared by the keyed-archive tests.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "vantorcore/archiving/KeyedArchiver.h"
#include "vantorcore/archiving/KeyedUnarchiver.h"
#include "vantorcore/platform/PropertyList.h"

namespace lx::test {

/// A securely codable note: scalars by key, an optional next note (shared
/// or cyclic graphs), and an owner written conditionally.
class KANote : public Object, public SecureCoding {
  LX_DECLARE_CLASS(KANote)
 public:
  String title;
  std::int32_t count = 0;
  std::shared_ptr<KANote> next;
  std::shared_ptr<KANote> owner;
  Value extra;
  void encodeWithCoder(Coder& coder) const override;
  static std::shared_ptr<KANote> initWithCoder(Coder& coder);
};

/// Codable, but not securely.
class KAPlain : public Object, public Coding {
  LX_DECLARE_CLASS(KAPlain)
 public:
  std::int64_t number = 0;
  void encodeWithCoder(Coder& coder) const override;
  static std::shared_ptr<KAPlain> initWithCoder(Coder& coder);
};

/// The UID value of `index`.
Value uid(std::uint64_t index);

/// A keyed archive's property list with `objects` after "$null" (so the
/// first of them is UID 1) and "root" naming `root`.
Value archiveWith(std::vector<Value> objects, std::uint64_t root = 1);

/// A class record for `name` (chain: name, "NSObject").
Value classRecord(const String& name);

/// The binary property list of `plist`.
Data binary(const Value& plist);

}  // namespace lx::test
