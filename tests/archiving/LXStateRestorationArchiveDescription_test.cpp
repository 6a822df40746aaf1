#include "vantorcore/archiving/LXStateRestorationArchiveDescription.h"

#include <gtest/gtest.h>

#include "archiving/StateRestorationTestSupport.h"
#include "vantorcore/platform/Coder.h"
#include "vantorcore/platform/JSON.h"

namespace lx::srtest {
namespace {

TEST(LXStateRestorationArchiveDescriptionTest, SharedObjectsAreSpelledOutOnceThenReferredTo) {
  auto shared = std::make_shared<SRNote>();
  shared->title = u"shared";
  shared->link = Value(shared);  // reaches itself
  auto view = restorableView(u"main");
  view->width = 2.5;
  view->child = Value(shared);
  const Data data = archive([&](LXStateRestorationArchiver& a) {
    a.encodeObject(Value(view), u"view");
    a.encodeObject(Value(shared), u"again");
    a.encodeObject(Value(Data{1, 2}), u"data");
    a.encodeObject(Value(Date(0)), u"date");
    a.encodeBool(true, u"flag");
  });
  ErrorPtr error;
  const std::optional<Value> description = LXStateRestorationArchiveDescription(data, &error);
  ASSERT_TRUE(description) << toUTF8(error->localizedDescription());
  const Dictionary& root = *(*description->asDictionary())[u"root"].asDictionary();
  const Dictionary& viewNode = *root[u"view"].asDictionary();
  EXPECT_EQ(viewNode[u"kind"], Value(u"restorable"));
  EXPECT_EQ(viewNode[u"class"], Value(u"SRView"));
  EXPECT_EQ(viewNode[u"classes"], Value(Array{Value(u"SRView"), Value(u"Object")}));
  EXPECT_EQ(viewNode[u"restorationIdentifier"], Value(u"main"));
  EXPECT_EQ(viewNode[u"restorationClass"], Value(u"SRViewRestorer"));
  const Dictionary& keys = *viewNode[u"keys"].asDictionary();
  EXPECT_EQ(keys[u"width"], Value(Dictionary{{u"scalar", Value(u"d")}, {u"value", Value(2.5)}}));
  const Dictionary& note = *keys[u"child"].asDictionary();
  EXPECT_EQ(note[u"kind"], Value(u"coded"));
  EXPECT_TRUE(isUpperCaseUUID(*note[u"identifier"].asString()));
  const Value ref(Dictionary{{u"ref", note[u"identifier"]}});
  EXPECT_EQ((*note[u"keys"].asDictionary())[u"link"], ref);
  EXPECT_EQ((*note[u"keys"].asDictionary())[u"title"], Value(u"shared"));
  EXPECT_EQ(root[u"again"], ref);
  EXPECT_EQ(root[u"data"], Value(Dictionary{{u"data", Value(u"AQI=")}}));
  EXPECT_EQ(root[u"date"], Value(Dictionary{{u"date", Value(u"Thu, 01 Jan 1970 00:00:00 GMT")}}));
  EXPECT_EQ(root[u"flag"], Value(Dictionary{{u"scalar", Value(u"B")}, {u"value", Value(true)}}));
  EXPECT_EQ((*description->asDictionary())[u"unreferenced"], Value(0u));
  EXPECT_TRUE(JSONSerialization::dataWithJSONObject(*description));
  shared->link = Value();  // lets the note go
}

TEST(LXStateRestorationArchiveDescriptionTest, BrokenEntriesAreMarkedAndBrokenArchivesRefused) {
  const auto described = [](const Data& data) {
    return LXStateRestorationArchiveDescription(data).value_or(Value());
  };
  const Value badRecord(
      Dictionary{{u"t", Value(u"v")}, {u"e", Value(u"i")}, {u"v", Value(Data(5))}});
  const Value d = described(handmade(
      {{u"gone", Value(u"G")}, {u"bad", Value(u"B")}, {u"odd", Value(u"O")}, {u"", Value(7)}},
      {{u"B", badRecord}, {u"O", Value(Array{})}, {u"U", Value(u"never reached")}}));
  const Dictionary& root = *(*d.asDictionary())[u"root"].asDictionary();
  EXPECT_EQ(root[u"gone"], Value(Dictionary{{u"missing", Value(u"G")}}));
  EXPECT_EQ(root[u"bad"], Value(Dictionary{{u"invalid", Value(u"B")}}));
  EXPECT_EQ(root[u"odd"], Value(Dictionary{{u"invalid", Value(u"O")}}));
  EXPECT_FALSE(root.contains(u""));
  EXPECT_EQ((*d.asDictionary())[u"unreferenced"], Value(1u));

  const struct {
    const char* name;
    Data data;
    std::int64_t code;
  } refused[] = {
      {"not a property list", Data{'x'}, NSPropertyListReadCorruptError},
      {"not a dictionary", *PropertyList::write(Value(Array{}), PropertyList::Format::Binary),
       NSPropertyListReadCorruptError},
  };
  for (const auto& c : refused) {
    SCOPED_TRACE(c.name);
    ErrorPtr error;
    EXPECT_FALSE(LXStateRestorationArchiveDescription(c.data, &error));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), c.code);
  }
}

TEST(LXStateRestorationArchiveDescriptionTest, NestingFollowsTheReadersLimit) {
  for (const std::size_t depth :
       {LXStateRestorationMaximumDepth, LXStateRestorationMaximumDepth + 1}) {
    SCOPED_TRACE(depth);
    ErrorPtr error;
    const auto description = LXStateRestorationArchiveDescription(handmadeChain(depth), &error);
    EXPECT_EQ(static_cast<bool>(description), depth <= LXStateRestorationMaximumDepth);
    if (!description) {
      EXPECT_EQ(error->code(), NSCoderReadCorruptError);
    }
  }
}

}  // namespace
}  // namespace lx::srtest
