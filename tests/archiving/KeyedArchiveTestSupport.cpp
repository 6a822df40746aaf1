#include "archiving/KeyedArchiveTestSupport.h"

namespace lx::test {

void KANote::encodeWithCoder(Coder& coder) const {
  coder.encodeString(title, u"title");
  coder.encodeInt32(count, u"count");
  if (next) coder.encodeObject(Value(next), u"next");
  if (owner) coder.encodeConditionalObject(Value(owner), u"owner");
  if (!extra.isNull()) coder.encodeObject(extra, u"extra");
}

std::shared_ptr<KANote> KANote::initWithCoder(Coder& coder) {
  auto note = std::make_shared<KANote>();
  note->title = coder.decodeStringForKey(u"title").value_or(u"");
  note->count = coder.decodeInt32ForKey(u"count");
  const Class* classes[] = {&KANote::staticClass()};
  note->next = coder.decodeObjectOfClasses(classes, u"next").objectAs<KANote>();
  note->owner = coder.decodeObjectOfClasses(classes, u"owner").objectAs<KANote>();
  note->extra = coder.decodeObjectForKey(u"extra");
  return note;
}

void KAPlain::encodeWithCoder(Coder& coder) const { coder.encodeInt64(number, u"number"); }

std::shared_ptr<KAPlain> KAPlain::initWithCoder(Coder& coder) {
  auto plain = std::make_shared<KAPlain>();
  plain->number = coder.decodeInt64ForKey(u"number");
  return plain;
}

LX_DEFINE_CLASS(KANote, Object)
LX_DEFINE_CLASS(KAPlain, Object)

Value uid(std::uint64_t index) { return Value(Dictionary{{u"CF$UID", Value(index)}}); }

Value archiveWith(std::vector<Value> objects, std::uint64_t root) {
  Array all{Value(u"$null")};
  for (Value& o : objects) all.push_back(std::move(o));
  return Value(Dictionary{
      {u"$version", Value(100000)},
      {u"$archiver", Value(u"NSKeyedArchiver")},
      {u"$top", Value(Dictionary{{u"root", uid(root)}})},
      {u"$objects", Value(std::move(all))},
  });
}

Value classRecord(const String& name) {
  return Value(Dictionary{{u"$classname", Value(name)},
                          {u"$classes", Value(Array{Value(name), Value(u"NSObject")})}});
}

Data binary(const Value& plist) {
  return PropertyList::write(plist, PropertyList::Format::Binary).value_or(Data());
}

}  // namespace lx::test
