#include "vantorcore/archiving/KeyedArchiver+Additions.h"

#include <gtest/gtest.h>

#include "archiving/KeyedArchiveTestSupport.h"
#include "support/TestSupport.h"
#include "vantorcore/platform/Log.h"
#include "vantorcore/platform/ValueClasses.h"

namespace lx {
namespace {

using test::KANote;
using test::KAPlain;

TEST(KeyedArchiverAdditionsTest, ArchivingLogsAndReturnsFailures) {
  const struct {
    const char* name;
    Value root;
    bool secure;
    bool archived;
  } cases[] = {
      {"secure object, secure archive", Value(std::make_shared<KANote>()), true, true},
      {"plain object, secure archive", Value(std::make_shared<KAPlain>()), true, false},
      {"plain object, lenient archive", Value(std::make_shared<KAPlain>()), false, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ScopedLogCapture capture;
    ErrorPtr error = Error::make(u"stale", 1);
    const auto data = lx_archivedDataWithRootObject(c.root, c.secure, &error);
    EXPECT_EQ(data.has_value(), c.archived);
    EXPECT_EQ(error == nullptr, c.archived) << "the out-parameter is always written";
    if (c.archived) {
      EXPECT_TRUE(capture.lines().empty());
    } else {
      ASSERT_EQ(capture.lines().size(), 1u);
      EXPECT_EQ(capture.lines()[0], u"CONDITION FAILED: " + error->localizedDescription());
    }
  }
  ScopedLogCapture capture;
  EXPECT_FALSE(lx_archivedDataWithRootObject(Value(std::make_shared<KAPlain>()), true));
  EXPECT_EQ(capture.lines().size(), 1u) << "logged without an out-parameter too";
}

TEST(KeyedArchiverAdditionsTest, UnarchivingIsLenientFirstAndSecureOnlyForAnError) {
  auto note = std::make_shared<KANote>();
  note->title = u"n";
  const Data noteData = *KeyedArchiver::archivedDataWithRootObject(Value(note), true);
  const Data plainData =
      *KeyedArchiver::archivedDataWithRootObject(Value(std::make_shared<KAPlain>()), false);
  const Data garbage = dataFromBytes("not an archive");
  const Class& string = ValueClasses::string();
  const struct {
    const char* name;
    const Data* data;
    const Class* cls;
    bool withError;
    bool object;
    std::size_t logLines;
    bool error;
    std::optional<bool> secure = std::nullopt;  // set: the overload that passes it through
  } cases[] = {
      {"right class", &noteData, &KANote::staticClass(), true, true, 0, false},
      {"right class, no out-parameter", &noteData, &KANote::staticClass(), false, true, 0, false},
      {"superclass", &noteData, &Object::staticClass(), true, true, 0, false},
      {"wrong class: second, secure read fails", &noteData, &string, true, false, 1, true},
      {"wrong class, no out-parameter: one lenient read", &noteData, &string, false, false, 0,
       false},
      {"not secure coding: lenient read succeeds", &plainData, &KAPlain::staticClass(), true, true,
       0, false},
      {"malformed data", &garbage, &KANote::staticClass(), true, false, 1, true},
      {"malformed data, no out-parameter", &garbage, &KANote::staticClass(), false, false, 0,
       false},
      {"lenient flag passed", &plainData, &KAPlain::staticClass(), true, true, 0, false, false},
      {"secure flag passed", &plainData, &KAPlain::staticClass(), true, false, 0, true, true},
      {"lenient read of another class is no error", &plainData, &KANote::staticClass(), true, false,
       0, false, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ScopedLogCapture capture;
    ErrorPtr error;
    ErrorPtr* out = c.withError ? &error : nullptr;
    const Value object = c.secure ? lx_unarchivedObjectOfClass(*c.cls, *c.data, *c.secure, out)
                                  : lx_unarchivedObjectOfClass(*c.cls, *c.data, out);
    EXPECT_EQ(!object.isNull(), c.object);
    EXPECT_EQ(capture.lines().size(), c.logLines);
    EXPECT_EQ(error != nullptr, c.error);
    if (error) {
      EXPECT_EQ(error->domain(), NSCocoaErrorDomain);
    }
    if (error && c.logLines) {
      EXPECT_EQ(capture.lines()[0], u"CONDITION FAILED: " + error->localizedDescription());
    }
  }
}

}  // namespace
}  // namespace lx
