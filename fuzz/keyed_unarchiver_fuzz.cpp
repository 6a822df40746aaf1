// Feeds arbitrary bytes to the keyed unarchiver, leniently and securely,
// with a model class that reads every kind of key (scalars, bytes, objects
// of allowed classes, keyless values) and nests itself. The description of
// the archive is made too. For any input: no crash, no hang, no exception.
#include <cstdint>
#include <cstdlib>

#include "vantorcore/archiving/KeyedArchiveDescription.h"
#include "vantorcore/archiving/KeyedArchiver+Additions.h"
#include "vantorcore/archiving/KeyedUnarchiver.h"
#include "vantorcore/platform/Log.h"
#include "vantorcore/platform/PropertyList.h"
#include "vantorcore/platform/URLObject.h"
#include "vantorcore/platform/ValueClasses.h"
#include "vantorcore/text/LXUUID.h"

namespace lx {

class FuzzKeyedNode : public Object, public SecureCoding {
  LX_DECLARE_CLASS(FuzzKeyedNode)
 public:
  Value children;
  void encodeWithCoder(Coder&) const override {}
  static std::shared_ptr<FuzzKeyedNode> initWithCoder(Coder& coder) {
    auto node = std::make_shared<FuzzKeyedNode>();
    for (const char16_t* key : {u"a", u"n", u"$0", u"NS.objects"}) {
      (void)coder.containsValueForKey(key);
      (void)coder.decodeBoolForKey(key);
      (void)coder.decodeInt32ForKey(key);
      (void)coder.decodeInt64ForKey(key);
      (void)coder.decodeDoubleForKey(key);
      (void)coder.decodeFloatForKey(key);
      (void)coder.decodeBytesForKey(key);
      (void)coder.decodeObjectForKey(key);
    }
    const Class* classes[] = {&FuzzKeyedNode::staticClass(), &ValueClasses::array(),
                              &ValueClasses::dictionary(), &ValueClasses::string()};
    node->children = coder.decodeObjectOfClasses(classes, u"child");
    std::int32_t i = 0;
    Value object;
    const char* text = nullptr;
    const Class* cls = nullptr;
    (void)coder.decodeValueOfObjCType("i", &i, sizeof i);
    (void)coder.decodeValueOfObjCType("@", &object, sizeof object);
    (void)coder.decodeValueOfObjCType("*", &text, sizeof text);
    (void)coder.decodeValueOfObjCType("#", &cls, sizeof cls);
    return node;
  }
};
LX_DEFINE_CLASS(FuzzKeyedNode, Object)

}  // namespace lx

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  lx::setLogSink([](const lx::String&) {});
  (void)lx::LXUUID::staticClass();  // keep the classes linked in
  (void)lx::URLObject::staticClass();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const lx::DataView data(bytes, size);
  for (bool secure : {false, true}) {
    auto unarchiver = lx::KeyedUnarchiver::initForReadingFromData(data);
    if (!unarchiver) break;
    unarchiver->setRequiresSecureCoding(secure);
    const lx::Class* classes[] = {&lx::FuzzKeyedNode::staticClass(), &lx::ValueClasses::array(),
                                  &lx::LXUUID::staticClass(), &lx::URLObject::staticClass()};
    (void)unarchiver->decodeObjectOfClasses(classes, lx::NSKeyedArchiveRootObjectKey);
    (void)unarchiver->decodeObject();
    unarchiver->finishDecoding();
  }
  lx::ErrorPtr error;
  (void)lx::lx_unarchivedObjectOfClass(lx::FuzzKeyedNode::staticClass(), data, &error);
  if (auto plist = lx::PropertyList::read(data)) {
    (void)lx::KeyedArchiveDescription::describe(*plist);
  }
  return 0;
}
