// Feeds arbitrary bytes to the state-restoration unarchiver with a coded and
// a restorable model class that read every kind of key (typed scalars,
// objects, bytes, keyless values, allowed classes), a delegate that answers
// every hook, and secure coding both off and on; then writes whatever came
// back with the archiver and renders both archives with
// LXStateRestorationArchiveDescription. For any input: no crash, no hang, no
// stack exhaustion; the only exceptions allowed are the two documented range
// exceptions of decodeInt32ForKey and decodeFloatForKey.
#include <cstdint>
#include <cstring>

#include "vantorcore/archiving/LXStateRestoration.h"
#include "vantorcore/platform/Exception.h"
#include "vantorcore/platform/Log.h"
#include "vantorcore/platform/ValueClasses.h"

namespace lx {

namespace {

constexpr const char16_t* kKeys[] = {u"a", u"b", u"", u"LX.coding.0"};

// Reads every key every way; keeps what the object readers gave.
Array readEverything(Coder& coder) {
  Array values;
  for (const char16_t* key : kKeys) {
    (void)coder.containsValueForKey(key);
    (void)coder.decodeBoolForKey(key);
    (void)coder.decodeInt64ForKey(key);
    (void)coder.decodeDoubleForKey(key);
    (void)coder.decodeBytesForKey(key);
    try {
      (void)coder.decodeInt32ForKey(key);
    } catch (const RangeException&) {
    }
    try {
      (void)coder.decodeFloatForKey(key);
    } catch (const RangeException&) {
    }
    values.push_back(coder.decodeObjectForKey(key));
    const Class* allowed[] = {&ValueClasses::string(), &ValueClasses::array(),
                              &Object::staticClass()};
    values.push_back(coder.decodeObjectOfClasses(allowed, key));
  }
  std::int32_t scalar = 0;
  (void)coder.decodeValueOfObjCType("i", &scalar, sizeof scalar);
  const char* text = nullptr;
  if (coder.decodeValueOfObjCType("*", &text, sizeof text) && text) (void)std::strlen(text);
  const Class* cls = nullptr;
  (void)coder.decodeValueOfObjCType("#", &cls, sizeof cls);
  values.push_back(coder.decodeObject());
  return values;
}

class FuzzCoded : public Object, public Coding {
  LX_DECLARE_CLASS(FuzzCoded)
 public:
  Array values;
  void encodeWithCoder(Coder& coder) const override {
    for (const Value& value : values) coder.encodeObject(value);
  }
  static std::shared_ptr<FuzzCoded> initWithCoder(Coder& coder) {
    auto object = std::make_shared<FuzzCoded>();
    object->values = readEverything(coder);
    return object;
  }
};
LX_DEFINE_CLASS(FuzzCoded, Object)

class FuzzRestorable : public Object, public StateRestoring, public ObjectRestoration {
  LX_DECLARE_CLASS(FuzzRestorable)
 public:
  String identifier;
  Array values;
  std::optional<String> restorationIdentifier() const override { return identifier; }
  void encodeRestorableStateWithCoder(Coder& coder) const override {
    coder.encodeObject(Value(values), u"values");
  }
  void decodeRestorableStateWithCoder(Coder& coder) override { values = readEverything(coder); }
  static ObjectPtr objectWithRestorationIdentifier(const String& identifier, const ObjectPtr&,
                                                   Coder&) {
    if (identifier == u"fail") return nullptr;
    auto object = std::make_shared<FuzzRestorable>();
    object->identifier = identifier;
    return object;
  }
};
LX_DEFINE_CLASS(FuzzRestorable, Object)

// Answers every hook, differently by the names it is given, so that inputs
// reach each path.
class FuzzDelegate : public LXStateRestorationUnarchiverDelegate {
 public:
  const Class* cannotDecodeObjectOfClassName(LXStateRestorationUnarchiver&, const String& name,
                                             const std::vector<String>&) override {
    return name.size() % 2 ? &FuzzCoded::staticClass() : nullptr;
  }
  const Class* objectRestorationClassForClassName(LXStateRestorationUnarchiver&,
                                                  const String& name) override {
    return name.size() % 2 ? &FuzzRestorable::staticClass() : &FuzzCoded::staticClass();
  }
  ObjectPtr objectWithRestorationIdentifier(LXStateRestorationUnarchiver&, const String& identifier,
                                            const Class*, const std::vector<String>&) override {
    return identifier == u"delegate" ? std::make_shared<FuzzRestorable>() : nullptr;
  }
  ObjectPtr didDecodeObject(LXStateRestorationUnarchiver&, const ObjectPtr& object) override {
    return dynamic_cast<FuzzRestorable*>(object.get()) ? nullptr : object;
  }
};

void rewriteAndDescribe(const Array& values) {
  Data data;
  LXStateRestorationArchiver archiver(data);
  archiver.encodeObject(Value(values), u"a");
  archiver.finishEncoding();
  if (!LXStateRestorationArchiveDescription(data)) abort();
  LXStateRestorationUnarchiver again(data);
  (void)readEverything(again);
  again.finishDecoding();
}

}  // namespace

}  // namespace lx

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  lx::setLogSink([](const lx::String&) {});
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const lx::DataView data(bytes, size);
  (void)lx::LXStateRestorationArchiveDescription(data);
  const auto delegate = std::make_shared<lx::FuzzDelegate>();
  for (const bool secure : {false, true}) {
    lx::LXStateRestorationUnarchiver unarchiver(data);
    unarchiver.setDelegate(delegate);
    unarchiver.setRequiresSecureCoding(secure);
    const lx::Array values = lx::readEverything(unarchiver);
    unarchiver.finishDecoding();
    if (!secure) lx::rewriteAndDescribe(values);
  }
  return 0;
}
