#include "vantorcore/archiving/LXStateRestorationContext.h"

#include <gtest/gtest.h>

namespace lx {
namespace {

TEST(LXStateRestorationContextTest, NullRemovesAndSubscriptsReadAndWrite) {
  LXStateRestorationContext context;
  context.setObject(Value(1), u"a");
  context[u""] = Value(u"empty key");
  EXPECT_EQ(context.objectForKey(u"a"), Value(1));
  EXPECT_EQ(static_cast<Value>(context[u""]), Value(u"empty key"));
  const LXStateRestorationContext& reading = context;
  EXPECT_EQ(reading[u"a"], Value(1));
  EXPECT_TRUE(reading[u"missing"].isNull());
  context[u"a"] = Value();
  context.setObject(Value(), u"never set");
  EXPECT_EQ(context.dictionary().keys(), std::vector<String>{u""});
}

}  // namespace
}  // namespace lx
