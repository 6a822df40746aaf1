// Feeds arbitrary bytes to the JSON keyed unarchiver, with a model class that
// reads every kind of key (typed scalars, objects, nested objects and arrays
// of objects through the unarchiver's stack) and aliases for the server's
// class words. For any input: no crash or hang; the only exception allowed is
// the documented InvalidArgumentException of a null array member or an empty
// first member.
#include <cstdint>
#include <cstdlib>

#include "vantorcore/archiving/LXJSONCoder.h"
#include "vantorcore/platform/Exception.h"
#include "vantorcore/platform/Log.h"
#include "vantorcore/text/LXUUID.h"

namespace lx {

class FuzzNode : public Object, public Coding {
  LX_DECLARE_CLASS(FuzzNode)
 public:
  Value children;
  void encodeWithCoder(Coder&) const override {}
  static std::shared_ptr<FuzzNode> initWithCoder(Coder& coder) {
    auto node = std::make_shared<FuzzNode>();
    for (const char16_t* key : {u"a", u"@class", u"id", u"$"}) {
      (void)coder.containsValueForKey(key);
      (void)coder.decodeBoolForKey(key);
      (void)coder.decodeInt32ForKey(key);
      (void)coder.decodeInt64ForKey(key);
      (void)coder.decodeDoubleForKey(key);
      (void)coder.decodeFloatForKey(key);
      (void)coder.decodeObjectForKey(key);
    }
    auto& reader = dynamic_cast<LXJSONKeyedUnarchiver&>(coder);
    if (reader.pushObjectForKey(u"child", String(u"child"))) {
      node->children = reader.decodeObject();
      reader.pop();
    }
    if (reader.pushObjectForKey(u"items", std::nullopt)) {
      node->children = reader.decodeArrayOfClass(&FuzzNode::staticClass());
      reader.pop();
    }
    (void)reader.decodeArrayOfPrimitives();
    return node;
  }
};
LX_DEFINE_CLASS(FuzzNode, Object)

}  // namespace lx

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  lx::setLogSink([](const lx::String&) {});
  (void)lx::LXUUID::staticClass();  // keep the class linked in
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const lx::DataView data(bytes, size);
  try {
    (void)lx::LXJSONKeyedUnarchiver::unarchiveObjectWithData(data);
  } catch (const lx::InvalidArgumentException&) {
  }
  auto reader = lx::LXJSONKeyedUnarchiver::initForReadingWithData(data);
  if (!reader) return 0;
  reader->addAlias(u"set", lx::FuzzNode::staticClass());
  reader->addAlias(u"list", lx::FuzzNode::staticClass());
  reader->addAlias(u"Node", lx::FuzzNode::staticClass());
  try {
    (void)reader->decodeObject();
    (void)reader->decodeArrayOfClass(nullptr);
    (void)reader->decodeHibernateProxy();
    (void)reader->decodeDate();
  } catch (const lx::InvalidArgumentException&) {
  }
  return 0;
}
