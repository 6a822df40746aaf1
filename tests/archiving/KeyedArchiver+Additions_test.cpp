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
  const struct {
    const char* name;
    const Data* data;
    const Class* cls;
    bool withError;
    bool object;
    std::size_t logLines;
    bool error;
  } cases[] = {
      {"right class", &noteData, &KANote::staticClass(), true, true, 0, false},
      {"right class, no out-parameter", &noteData, &KANote::staticClass(), false, true, 0, false},
      {"superclass", &noteData, &Object::staticClass(), true, true, 0, false},
      {"wrong class: second, secure read fails", &noteData, &ValueClasses::string(), true, false, 1,
       true},
      {"wrong class, no out-parameter: one lenient read", &noteData, &ValueClasses::string(), false,
       false, 0, false},
      {"not secure coding: lenient read succeeds", &plainData, &KAPlain::staticClass(), true, true,
       0, false},
      {"malformed data", &garbage, &KANote::staticClass(), true, false, 1, true},
      {"malformed data, no out-parameter", &garbage, &KANote::staticClass(), false, false, 0,
       false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ScopedLogCapture capture;
    ErrorPtr error;
    const Value object =
        lx_unarchivedObjectOfClass(*c.cls, *c.data, c.withError ? &error : nullptr);
    EXPECT_EQ(!object.isNull(), c.object);
    EXPECT_EQ(capture.lines().size(), c.logLines);
    EXPECT_EQ(error != nullptr, c.error);
    if (error) {
      EXPECT_EQ(error->domain(), NSCocoaErrorDomain);
      EXPECT_EQ(capture.lines()[0], u"CONDITION FAILED: " + error->localizedDescription());
    }
  }
}

TEST(KeyedArchiverAdditionsTest, TheSecureFlagIsPassedThrough) {
  const Data plainData =
      *KeyedArchiver::archivedDataWithRootObject(Value(std::make_shared<KAPlain>()), false);
  const struct {
    bool secure;
    bool object;
  } cases[] = {{false, true}, {true, false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.secure);
    ErrorPtr error;
    const Value v = lx_unarchivedObjectOfClass(KAPlain::staticClass(), plainData, c.secure, &error);
    EXPECT_EQ(!v.isNull(), c.object);
    EXPECT_EQ(error != nullptr, !c.object);
  }
  ErrorPtr error;
  const Value wrongClass =
      lx_unarchivedObjectOfClass(KANote::staticClass(), plainData, false, &error);
  EXPECT_TRUE(wrongClass.isNull());
  EXPECT_FALSE(error) << "a lenient read of another class is no error";
}

}  // namespace
}  // namespace lx
