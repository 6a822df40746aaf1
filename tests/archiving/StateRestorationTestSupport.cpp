#include "archiving/StateRestorationTestSupport.h"

#include "vantorcore/text/LXUUID.h"

namespace lx::srtest {

LX_DEFINE_CLASS(SRNote, Object)
LX_DEFINE_CLASS(SRSubNote, SRNote)
LX_DEFINE_CLASS(SRView, Object)
LX_DEFINE_CLASS(SRViewRestorer, Object)
LX_DEFINE_CLASS(SRPanel, SRView)
LX_DEFINE_CLASS(SRHollowRestorer, Object)
LX_DEFINE_CLASS(SRPlain, Object)

void SRNote::encodeWithCoder(Coder& coder) const {
  coder.encodeString(title, u"title");
  coder.encodeObject(link, u"link");
}

void SRNote::read(Coder& coder) {
  title = coder.decodeStringForKey(u"title").value_or(u"");
  link = coder.decodeObjectForKey(u"link");
}

std::shared_ptr<SRNote> SRNote::initWithCoder(Coder& coder) {
  auto note = std::make_shared<SRNote>();
  note->read(coder);
  return note;
}

std::shared_ptr<SRSubNote> SRSubNote::initWithCoder(Coder& coder) {
  auto note = std::make_shared<SRSubNote>();
  note->read(coder);
  return note;
}

void SRView::encodeRestorableStateWithCoder(Coder& coder) const {
  coder.encodeDouble(width, u"width");
  coder.encodeObject(child, u"child");
}

void SRView::decodeRestorableStateWithCoder(Coder& coder) {
  width = coder.decodeDoubleForKey(u"width");
  child = coder.decodeObjectForKey(u"child");
}

void SRView::finishedRestoringState() {
  ++finished;
  SRViewRestorer::finishedOrder.push_back(identifier.value_or(u""));
}

ObjectPtr SRViewRestorer::objectWithRestorationIdentifier(const String& identifier,
                                                          const ObjectPtr& context, Coder&) {
  ++calls;
  lastContext = context;
  if (identifier == u"fail") return nullptr;
  auto view = std::make_shared<SRView>();
  view->identifier = identifier;
  return view;
}

ObjectPtr SRPanel::objectWithRestorationIdentifier(const String& identifier, const ObjectPtr&,
                                                   Coder&) {
  auto panel = std::make_shared<SRPanel>();
  panel->identifier = identifier;
  return panel;
}

Value noteWithTitle(StringView title) {
  auto note = std::make_shared<SRNote>();
  note->title = String(title);
  return Value(note);
}

std::shared_ptr<SRView> restorableView(std::optional<String> identifier, const Class* restorer) {
  auto view = std::make_shared<SRView>();
  view->identifier = std::move(identifier);
  view->restorer = restorer;
  return view;
}

Data archive(const std::function<void(LXStateRestorationArchiver&)>& encode) {
  Data data;
  LXStateRestorationArchiver archiver(data);
  encode(archiver);
  archiver.finishEncoding();
  return data;
}

Data handmade(Dictionary rootKeys, Dictionary objects) {
  const Value top(Dictionary{{u"r", Value(Dictionary{{u"v", Value(std::move(rootKeys))}})},
                             {u"o", Value(std::move(objects))}});
  return *PropertyList::write(top, PropertyList::Format::Binary);
}

Value itemEntry(StringView identifier, StringView type, StringView className, Dictionary keys) {
  Dictionary item{{u"i", Value(identifier)}, {u"t", Value(type)}, {u"c", Value(className)}};
  if (!keys.empty()) item.set(u"v", Value(std::move(keys)));
  return Value(std::move(item));
}

Data handmadeChain(std::size_t depth) {
  Dictionary objects;
  objects.reserve(depth);
  for (std::size_t i = 0; i < depth; ++i) {
    const String id = u"N" + fromUTF8(std::to_string(i));
    Dictionary keys;
    if (i + 1 < depth) keys.set(u"link", Value(u"N" + fromUTF8(std::to_string(i + 1))));
    objects.set(id, itemEntry(id, u"c", u"SRNote", std::move(keys)));
  }
  return handmade({{u"chain", Value(u"N0")}}, std::move(objects));
}

bool isUpperCaseUUID(StringView text) {
  const auto uuid = LXUUID::UUIDWithString(text);
  return uuid && uuid->stringValue() == text;
}

void writeScalar(Coder& c, Scalar kind, const Value& v) {
  switch (kind) {
    case Scalar::Bool:
      return c.encodeBool(v.boolValue(), u"k");
    case Scalar::Int32:
      return c.encodeInt32(static_cast<std::int32_t>(v.int64Value()), u"k");
    case Scalar::Int64:
      return c.encodeInt64(v.int64Value(), u"k");
    case Scalar::Float:
      return c.encodeFloat(static_cast<float>(v.doubleValue()), u"k");
    case Scalar::Double:
      return c.encodeDouble(v.doubleValue(), u"k");
    case Scalar::Plain:
      return c.encodeObject(v, u"k");
    case Scalar::Nothing:
      return;
  }
}

void resetRestorer() {
  SRViewRestorer::calls = 0;
  SRViewRestorer::lastContext.reset();
  SRViewRestorer::finishedOrder.clear();
}

}  // namespace lx::srtest
