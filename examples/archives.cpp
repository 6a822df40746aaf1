// Archives: one small model class written once against `lx::Coder` and saved
// both as a JSON keyed archive (the document a server-side serialiser reads)
// and as a keyed property-list archive, then read back from each.
//
// `LX_DECLARE_CLASS` / `LX_DEFINE_CLASS` register the class by name, which is
// how both unarchivers find its `initWithCoder`. Deriving from
// `SecureCoding` lets the keyed unarchiver decode it from untrusted data.
#include <cstdio>
#include <string>

#include "vantorcore/archiving/KeyedArchiver.h"
#include "vantorcore/archiving/KeyedUnarchiver.h"
#include "vantorcore/archiving/LXJSONCoder.h"
#include "vantorcore/platform/Object.h"
#include "vantorcore/text/LXUUID.h"

class Bookmark : public lx::Object, public lx::SecureCoding {
  LX_DECLARE_CLASS(Bookmark)
 public:
  lx::String title;
  lx::String address;
  std::int64_t visits = 0;

  void encodeWithCoder(lx::Coder& coder) const override {
    coder.encodeString(title, u"title");
    coder.encodeString(address, u"address");
    coder.encodeInt64(visits, u"visits");
  }
  // Checks what it reads, as a secure-coding class must: a bookmark without
  // an address is refused.
  static std::shared_ptr<Bookmark> initWithCoder(lx::Coder& coder) {
    auto address = coder.decodeStringForKey(u"address");
    if (!address || address->empty()) return nullptr;
    auto bookmark = std::make_shared<Bookmark>();
    bookmark->title = coder.decodeStringForKey(u"title").value_or(u"");
    bookmark->address = *address;
    bookmark->visits = coder.decodeInt64ForKey(u"visits");
    return bookmark;
  }
  bool sameAs(const Bookmark& other) const {
    return title == other.title && address == other.address && visits == other.visits;
  }
};
LX_DEFINE_CLASS(Bookmark, lx::Object)

int main() {
  auto original = std::make_shared<Bookmark>();
  original->title = u"Release notes";
  original->address = u"https://example.org/notes";
  original->visits = 42;

  // JSON keyed archive: { "Bookmark" : { ...fields... } }.
  lx::LXJSONKeyedArchiver jsonArchiver;
  jsonArchiver.encodeObject(lx::Value(original));
  const auto& json = jsonArchiver.encodedData();
  if (!json) return 1;
  std::printf("JSON archive:\n%s\n", std::string(json->begin(), json->end()).c_str());
  auto fromJSON = lx::LXJSONKeyedUnarchiver::unarchiveObjectWithData(*json).objectAs<Bookmark>();
  if (!fromJSON || !fromJSON->sameAs(*original)) return 1;
  std::printf("read back from JSON: %s, %lld visits\n", lx::toUTF8(fromJSON->title).c_str(),
              static_cast<long long>(fromJSON->visits));

  // Keyed archive (binary property list), decoded securely by class.
  lx::ErrorPtr error;
  auto plist = lx::KeyedArchiver::archivedDataWithRootObject(lx::Value(original), true, &error);
  if (!plist) return 1;
  std::printf("keyed archive: %zu bytes\n", plist->size());
  auto fromPlist =
      lx::KeyedUnarchiver::unarchivedObjectOfClass(Bookmark::staticClass(), *plist, &error)
          .objectAs<Bookmark>();
  if (!fromPlist || !fromPlist->sameAs(*original)) return 1;
  std::printf("read back from the keyed archive: %s\n", lx::toUTF8(fromPlist->address).c_str());

  // A class the caller did not ask for is refused with an error, not a crash.
  auto refused =
      lx::KeyedUnarchiver::unarchivedObjectOfClass(lx::LXUUID::staticClass(), *plist, &error);
  std::printf("decoding as LXUUID: %s\n", refused.isNull() && error ? "refused" : "accepted");
  return refused.isNull() && error ? 0 : 1;
}
