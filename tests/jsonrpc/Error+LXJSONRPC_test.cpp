#include "vantorcore/jsonrpc/Error+LXJSONRPC.h"

#include <gtest/gtest.h>

#include "vantorcore/platform/Log.h"

namespace lx {
namespace {

TEST(JSONRPCErrorTest, BuildsFromCodeMessageAndDataAndWritesErrorObjects) {
  const ErrorPtr plain = lx_JSONRPCErrorWithCode(7, u"m");
  EXPECT_EQ(plain->domain(), u"LXJSONRPCErrorDomain");
  EXPECT_EQ(plain->code(), 7);
  EXPECT_EQ(plain->localizedDescription(), u"A JSON-RPC error has occurred.");
  EXPECT_EQ(plain->localizedRecoverySuggestion(), u"m");
  EXPECT_FALSE(plain->userInfo().contains(u"LXJSONRPCErrorData"));

  const ErrorPtr withData = lx_JSONRPCErrorWithCode(1, u"100% sure", Value());
  EXPECT_EQ(withData->localizedRecoverySuggestion(), u"100% sure") << "kept as given";
  EXPECT_TRUE(withData->userInfo().contains(u"LXJSONRPCErrorData")) << "null data is data";

  const Dictionary object{{u"code", Value(3)}, {u"message", u"x"}, {u"data", Value(Array{})}};
  EXPECT_EQ(lx_JSONRPCDictionary(*lx_errorWithJSONRPCDictionary(object)), object);
  // Without a recovery suggestion the description stands in for the message.
  const ErrorPtr other = Error::make(u"O", 4, {{String(NSLocalizedDescriptionKey), u"desc"}});
  EXPECT_EQ(lx_JSONRPCDictionary(*other), (Dictionary{{u"code", Value(4)}, {u"message", u"desc"}}));
}

TEST(JSONRPCErrorTest, ReadsErrorObjects) {
  const char16_t* notANumber = u"Error unpacking JSON-RPC payload: error code is not a number";
  struct Case {
    const char* name;
    Dictionary object;
    std::int64_t code = 0;
    String message = {};
    const char16_t* line = nullptr;  // set: no error, this line logged
  } cases[] = {
      {"complete", {{u"code", Value(-32700)}, {u"message", u"parse"}}, -32700, u"parse"},
      {"missing members", {}},
      {"real code truncates", {{u"code", Value(2.9)}}, 2},
      {"string code", {{u"code", u"7"}, {u"message", u"m"}}, 0, u"", notANumber},
      {"null code", {{u"code", Value()}}, 0, u"", notANumber},
      {"number message",
       {{u"code", Value(1)}, {u"message", Value(3)}},
       0,
       u"",
       u"Error unpacking JSON-RPC payload: error message is not a string"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ScopedLogCapture log;
    const ErrorPtr error = lx_errorWithJSONRPCDictionary(c.object);
    ASSERT_EQ(error == nullptr, c.line != nullptr);
    if (error) {
      EXPECT_EQ(error->code(), c.code);
      EXPECT_EQ(error->localizedRecoverySuggestion(), c.message);
      EXPECT_TRUE(log.lines().empty());
    } else {
      EXPECT_EQ(log.lines(), std::vector<String>{c.line});
    }
  }
}

}  // namespace
}  // namespace lx
