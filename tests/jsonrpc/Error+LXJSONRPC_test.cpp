#include "vantorcore/jsonrpc/Error+LXJSONRPC.h"

#include <gtest/gtest.h>

#include "vantorcore/platform/Log.h"

namespace lx {
namespace {

TEST(JSONRPCErrorTest, BuildsFromCodeMessageAndData) {
  const ErrorPtr plain = lx_JSONRPCErrorWithCode(7, u"m");
  EXPECT_EQ(plain->domain(), u"LXJSONRPCErrorDomain");
  EXPECT_EQ(plain->code(), 7);
  EXPECT_EQ(plain->localizedDescription(), u"A JSON-RPC error has occurred.");
  EXPECT_EQ(plain->localizedRecoverySuggestion(), u"m");
  EXPECT_FALSE(plain->userInfo().contains(u"LXJSONRPCErrorData"));

  const ErrorPtr withData = lx_JSONRPCErrorWithCode(1, u"100% sure", Value());
  EXPECT_EQ(withData->localizedRecoverySuggestion(), u"100% sure") << "kept as given";
  EXPECT_TRUE(withData->userInfo().contains(u"LXJSONRPCErrorData")) << "null data is data";
}

TEST(JSONRPCErrorTest, ReadsErrorObjects) {
  struct Case {
    const char* name;
    Dictionary object;
    bool error;
    std::int64_t code;
    String message;
    const char16_t* line;
  } cases[] = {
      {"complete",
       {{u"code", Value(-32700)}, {u"message", u"parse"}},
       true,
       -32700,
       u"parse",
       nullptr},
      {"missing members", {}, true, 0, u"", nullptr},
      {"real code truncates", {{u"code", Value(2.9)}}, true, 2, u"", nullptr},
      {"string code",
       {{u"code", u"7"}, {u"message", u"m"}},
       false,
       0,
       u"",
       u"Error unpacking JSON-RPC payload: error code is not a number"},
      {"null code",
       {{u"code", Value()}},
       false,
       0,
       u"",
       u"Error unpacking JSON-RPC payload: error code is not a number"},
      {"number message",
       {{u"code", Value(1)}, {u"message", Value(3)}},
       false,
       0,
       u"",
       u"Error unpacking JSON-RPC payload: error message is not a string"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ScopedLogCapture log;
    const ErrorPtr error = lx_errorWithJSONRPCDictionary(c.object);
    ASSERT_EQ(error != nullptr, c.error);
    if (error) {
      EXPECT_EQ(error->code(), c.code);
      EXPECT_EQ(error->localizedRecoverySuggestion(), c.message);
      EXPECT_TRUE(log.lines().empty());
    } else {
      EXPECT_EQ(log.lines(), std::vector<String>{c.line});
    }
  }
}

TEST(JSONRPCErrorTest, WritesErrorObjects) {
  const Dictionary object{{u"code", Value(3)}, {u"message", u"x"}, {u"data", Value(Array{})}};
  EXPECT_EQ(lx_JSONRPCDictionary(*lx_errorWithJSONRPCDictionary(object)), object);
  // Without a recovery suggestion the description stands in for the message.
  const ErrorPtr other = Error::make(u"O", 4, {{String(NSLocalizedDescriptionKey), u"desc"}});
  EXPECT_EQ(lx_JSONRPCDictionary(*other), (Dictionary{{u"code", Value(4)}, {u"message", u"desc"}}));
}

}  // namespace
}  // namespace lx
