#include "vantorcore/jsonrpc/LXJSONRPCMessage.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "jsonrpc/ListenerTestSupport.h"
#include "vantorcore/jsonrpc/Error+LXJSONRPC.h"
#include "vantorcore/platform/JSON.h"
#include "vantorcore/platform/Log.h"

namespace lx {
namespace {

constexpr std::size_t kUnset = 0xC0FFEE;

struct Parsed {
  std::shared_ptr<LXJSONRPCMessage> message;
  std::size_t consumed = kUnset;
  std::size_t additional = kUnset;
};

Parsed parse(std::string_view bytes) {
  Parsed parsed;
  const Data data = dataFromBytes(bytes);
  parsed.message = LXJSONRPCMessage::messageWithData(data, &parsed.consumed, &parsed.additional);
  return parsed;
}

std::string serialized(const LXJSONRPCMessage& message) {
  const std::optional<Data> data = message.messageData();
  return data ? std::string(asStringView(*data)) : "<absent>";
}

// A decoding failure's line, up to where the reader's debug description
// (which a row may add) begins.
const std::string kDecodingError = "decoding error: ";

// A message is read when the bytes hold one and nothing is logged; unusable
// bodies log one line and leave the consumed length unset.
TEST(LXJSONRPCMessageFramingTest, ReportsConsumedAndAdditionalLengthsOrLogs) {
  constexpr std::size_t kMax = std::numeric_limits<std::size_t>::max();
  const std::string absurd = "Content-Length: 99999999999999999999999999\r\n\r\n{}";
  const std::string unpacking = "Error unpacking JSON-RPC payload: ";
  struct Case {
    std::string name;
    std::string bytes;
    std::size_t consumed;
    std::size_t additional;
    std::string line = {};  // exact, or a prefix when it starts with kDecodingError
  } cases[] = {
      {"the smallest message", "Content-Length: 2\r\n\r\n{}", 23, 0},
      {"one body byte short", "Content-Length: 2\r\n\r\n{", 0, 1},
      {"header block open", "Content-Length: 5\r\n", 0, 0},
      {"nothing at all", "", 0, 0},
      {"a line without its CR LF", "Content-Length: 2", 0, 0},
      {"bytes after the body are left", "Content-Length: 2\r\n\r\n{}Content", 23, 0},
      {"garbage line before the headers", "garbage\r\nContent-Length: 2\r\n\r\n{}", 32, 0},
      {"later duplicate wins", "Content-Length: 9\r\nContent-Length: 2\r\n\r\n{}", 42, 0},
      {"leading digits only", "Content-Length: 2abc\r\n\r\n{}", 26, 0},
      {"absurd length saturates", absurd, 0, kMax - absurd.size()},
      {"non-ASCII line is ignored", "Content-Length: 9\xC3\xA9\r\nContent-Length: 2\r\n\r\n{}", 44,
       0},
      {"no Content-Length: empty body", "X: 1\r\n\r\n{}", kUnset, 0, kDecodingError},
      {"lowercase name is another header", "content-length: 2\r\n\r\n{}", kUnset, 0,
       kDecodingError},
      {"no space after the colon", "Content-Length:2\r\n\r\n{}", kUnset, 0, kDecodingError},
      {"a sign is not a digit", "Content-Length: -2\r\n\r\n{}", kUnset, 0, kDecodingError},
      {"non-ASCII Content-Length line", "Content-Length: 2\xC3\xA9\r\n\r\n{}", kUnset, 0,
       kDecodingError},
      {"malformed JSON", test::frame("{\"id\":"), kUnset, 0,
       kDecodingError + "Unexpected end of input at byte 6}"},
      {"invalid UTF-8", test::frame("{\"method\":\"\xFF\"}"), kUnset, 0,
       kDecodingError + "Invalid UTF-8 at byte 11}"},
      {"a scalar body", test::frame("3"), kUnset, 0, kDecodingError},
      {"an array body", test::frame("[1]"), kUnset, 0, unpacking + "payload is not an object"},
      {"method a number", test::frame(R"({"method":1})"), kUnset, 0,
       unpacking + "method is not a string"},
      {"params a string", test::frame(R"({"method":"m","params":"x"})"), kUnset, 0,
       "JSON-RPC payload parameters is not a structured value"},
      {"params null", test::frame(R"({"method":"m","params":null})"), kUnset, 0,
       "JSON-RPC payload parameters is not a structured value"},
      {"error a string", test::frame(R"({"id":1,"error":"x"})"), kUnset, 0,
       unpacking + "error is not an object"},
      {"last duplicate counts", test::frame(R"({"method":"m","method":2})"), kUnset, 0,
       unpacking + "method is not a string"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ScopedLogCapture log;
    const Parsed parsed = parse(c.bytes);
    EXPECT_EQ(parsed.message != nullptr, c.line.empty() && c.consumed > 0);
    EXPECT_EQ(parsed.consumed, c.consumed);
    EXPECT_EQ(parsed.additional, c.additional);
    ASSERT_EQ(log.lines().size(), c.line.empty() ? 0u : 1u);
    if (c.line.starts_with(kDecodingError)) {
      const std::string line = toUTF8(log.lines()[0]);
      const std::string where = c.line.substr(kDecodingError.size());
      EXPECT_TRUE(line.starts_with(unpacking + "Error Domain="));
      EXPECT_NE(line.find("UserInfo={NSDebugDescription=" + where), std::string::npos) << line;
    } else if (!c.line.empty()) {
      EXPECT_EQ(toUTF8(log.lines()[0]), c.line);
    }
  }
}

TEST(LXJSONRPCMessageFramingTest, SplitAtEveryByteNeedsExactlyTheMissingBytes) {
  const std::string first = "Content-Type: x\r\n" + test::frame(R"({"id":1,"method":"a/b"})");
  const std::string second = test::frame(R"({"id":1,"result":[1,2,3]})");
  const std::string stream = first + second;
  for (std::size_t split = 0; split <= stream.size(); ++split) {
    SCOPED_TRACE(split);
    std::size_t offset = 0;
    for (const std::string& expected : {first, second}) {
      if (offset > split) break;
      const Parsed parsed = parse(std::string_view(stream).substr(offset, split - offset));
      const std::size_t available = split - offset;
      const std::size_t bodyStart = expected.find("\r\n\r\n") + 4;
      if (available >= expected.size()) {
        ASSERT_NE(parsed.message, nullptr);
        EXPECT_EQ(parsed.consumed, expected.size());
        EXPECT_EQ(parsed.additional, 0u);
      } else {
        EXPECT_EQ(parsed.message, nullptr);
        EXPECT_EQ(parsed.consumed, 0u);
        EXPECT_EQ(parsed.additional, available >= bodyStart ? expected.size() - available : 0u);
      }
      offset += expected.size();
    }
  }
}

TEST(LXJSONRPCMessageFramingTest, KeepsHeadersAndParametersWhicheverIsReadOrReplacedFirst) {
  const std::string body = R"({"method":"m","params":[1,"two"]})";
  const std::string bytes =
      "Content-Type: x\r\nword\r\nX: a\rb: c\r\nContent-Length: " + std::to_string(body.size()) +
      "\r\n\r\n" + body;
  const Dictionary parsedHeaders{{u"Content-Type", u"x"},
                                 {u"X", u"a\rb: c"},
                                 {u"Content-Length", fromUTF8(std::to_string(body.size()))}};
  const Value parsedParameters(Array{Value(1), Value(u"two")});
  const Dictionary otherHeaders{{u"Y", u"z"}};
  const Value otherParameters(Array{});
  // h, p: read the headers, the parameters; H, P: replace them.
  for (const std::string_view steps : {"hp", "ph", "Hp", "Ph", "HP"}) {
    SCOPED_TRACE(steps);
    // Null out-parameters are allowed.
    const auto message = LXJSONRPCMessage::messageWithData(dataFromBytes(bytes));
    ASSERT_NE(message, nullptr);
    std::vector<bool> readsAsParsed;
    for (const char step : steps) {
      if (step == 'h') readsAsParsed.push_back(message->headers() == parsedHeaders);
      if (step == 'p') readsAsParsed.push_back(message->parameters() == parsedParameters);
      if (step == 'H') message->setHeaders(otherHeaders);
      if (step == 'P') message->setParameters(otherParameters);
    }
    EXPECT_EQ(readsAsParsed, std::vector<bool>(readsAsParsed.size(), true));
    const bool headersReplaced = steps.find('H') != std::string_view::npos;
    const Dictionary& headers = message->headers();
    EXPECT_EQ(headers, headersReplaced ? otherHeaders : parsedHeaders);
    EXPECT_EQ(headers.keys(), (headersReplaced ? otherHeaders : parsedHeaders).keys());
    EXPECT_EQ(message->parameters(),
              steps.find('P') != std::string_view::npos ? otherParameters : parsedParameters);
    EXPECT_EQ(message->result(), std::nullopt);
  }
}

// The member as the platform reader reads the whole body.
std::optional<Value> member(std::string_view body, StringView key) {
  const auto whole = JSONSerialization::JSONObjectWithData(body);
  const Value* value = whole ? whole->asDictionary()->find(key) : nullptr;
  return value ? std::optional<Value>(*value) : std::nullopt;
}

// Parameters and result are read on first access, as the whole body reads.
TEST(LXJSONRPCMessageClassificationTest, TellsKindsApartByMembersAndReadsThemLazily) {
  struct Case {
    std::string body;
    LXJSONRPCMessageType type;
    std::optional<Value> id;
    std::optional<String> method;
  } cases[] = {
      {R"({"jsonrpc":"2.0","id":7,"method":"m"})", LXJSONRPCMessageType::Request, Value(7), u"m"},
      {R"({"id":"a","method":"m","params":[]})", LXJSONRPCMessageType::Request, Value(u"a"), u"m"},
      {R"({"id":null,"method":"m"})", LXJSONRPCMessageType::Request, Value(), u"m"},
      {R"({"id":[1,{"k":2}],"method":"m"})", LXJSONRPCMessageType::Request,
       Value(Array{Value(1), Value(Dictionary{{u"k", Value(2)}})}), u"m"},
      {R"({"method":"caf\u00e9","params":{}})", LXJSONRPCMessageType::Notification, std::nullopt,
       u"caf\u00e9"},
      {R"({"id":18446744073709551615})", LXJSONRPCMessageType::Response,
       Value(std::numeric_limits<std::uint64_t>::max()), std::nullopt},
      {R"({"id":1.5,"result":null})", LXJSONRPCMessageType::Response, Value(1.5), std::nullopt},
      {R"({"jsonrpc":"1.0"})", LXJSONRPCMessageType::Response, std::nullopt, std::nullopt},
      {R"({"id":1,"method":"m","params":{"a":[1,2.5,"x\/y"],"b":{"c":null,"d":true}}})",
       LXJSONRPCMessageType::Request, Value(1), u"m"},
      {R"({"method":"m","params":[{"k":"\u00e9\ud83d\ude00"},-3,1e300]})",
       LXJSONRPCMessageType::Notification, std::nullopt, u"m"},
      {R"({"id":2,"result":{"z":1,"a":2,"z":3},"params":[]})", LXJSONRPCMessageType::Response,
       Value(2), std::nullopt},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.body);
    const Parsed parsed = parse(test::frame(c.body));
    ASSERT_NE(parsed.message, nullptr);
    EXPECT_EQ(parsed.message->messageType(), c.type);
    EXPECT_EQ(parsed.message->messageID(), c.id);
    if (c.id) {
      EXPECT_EQ(parsed.message->messageID()->type(), c.id->type());
    }
    EXPECT_EQ(parsed.message->method(), c.method);
    const bool response = c.type == LXJSONRPCMessageType::Response;
    EXPECT_EQ(parsed.message->parameters(), response ? std::nullopt : member(c.body, u"params"));
    EXPECT_EQ(parsed.message->result(), member(c.body, u"result"));
    EXPECT_EQ(parsed.message->parameters(), response ? std::nullopt : member(c.body, u"params"));
  }
  const auto message = parse(test::frame(cases[8].body)).message;
  message->setParameters(std::nullopt);
  EXPECT_EQ(message->parameters(), std::nullopt) << "a setter before first access wins";
}

TEST(LXJSONRPCMessageClassificationTest, ConvertsTheErrorOrDropsABadOne) {
  const auto message = parse(test::frame(R"({"id":1,"error":{"code":-32601,"data":[1]}})")).message;
  ASSERT_NE(message, nullptr);
  ASSERT_NE(message->error(), nullptr);
  EXPECT_EQ(message->error()->code(), -32601);
  EXPECT_EQ(message->error()->userInfo()[LXJSONRPCErrorDataKey], Value(Array{Value(1)}));

  ScopedLogCapture log;
  const std::string bad = test::frame(R"({"id":1,"error":{"code":"7"}})");
  const Parsed parsed = parse(bad);
  ASSERT_NE(parsed.message, nullptr) << "delivered as a response without error";
  EXPECT_EQ(parsed.message->error(), nullptr);
  EXPECT_EQ(parsed.consumed, bad.size());
  EXPECT_TRUE(log.contains(u"Error unpacking JSON-RPC payload: error code is not a number"));
}

TEST(LXJSONRPCMessageLazyTest, ConcurrentFirstAccessBuildsOneValue) {
  const std::string body = R"({"id":9,"result":{"items":[1,2,3,{"deep":["a","b"]}]}})";
  for (int round = 0; round < 20; ++round) {
    const auto message = parse(test::frame(body)).message;
    ASSERT_NE(message, nullptr);
    std::vector<std::optional<Value>> seen(4);
    std::vector<std::thread> threads;
    for (auto& slot : seen) threads.emplace_back([&message, &slot] { slot = message->result(); });
    for (auto& thread : threads) thread.join();
    for (const auto& value : seen) EXPECT_EQ(value, member(body, u"result"));
  }
}

TEST(LXJSONRPCMessageSerializingTest, RefusesWhatCannotBeWritten) {
  ScopedLogCapture log;
  const auto unencodable =
      LXJSONRPCMessage::notificationWithMethod(u"m", std::nullopt, Value(Array{Value(Data{1, 2})}));
  EXPECT_EQ(unencodable->messageData(), std::nullopt);
  ASSERT_EQ(log.lines().size(), 1u);
  EXPECT_TRUE(log.lines()[0].starts_with(u"Error encoding JSON-RPC payload: Error Domain="));

  const auto badHeaders = LXJSONRPCMessage::notificationWithMethod(
      u"m", Dictionary{{u"A", u"\u00e9"}, {u"B", u"x\r\n\r\n"}, {u"C", u"ok"}});
  EXPECT_EQ(serialized(*badHeaders),
            "C: ok\r\nContent-Length: 30\r\n\r\n"
            R"({"jsonrpc":"2.0","method":"m"})");
}

// Headers come first, in their order, with the body's length in place of any
// given; the body is compact. What is written reads back the same.
TEST(LXJSONRPCMessageSerializingTest, WritesHeadersThenCompactBodyAndReadsBack) {
  const Dictionary headers{{u"Content-Type", u"application/json"}, {u"X", u"a\rb\n"}};
  const Dictionary withLength{{u"X", u"1"}, {u"Content-Length", u"999"}, {u"N", Value(3)}};
  const struct {
    std::shared_ptr<LXJSONRPCMessage> message;
    std::string bytes = {};  // empty: not checked
  } cases[] = {
      {LXJSONRPCMessage::requestWithMessageID(Value(1), u"sum", std::nullopt,
                                              Value(Array{Value(1), Value(2)})),
       "Content-Length: 54\r\n\r\n"
       R"({"jsonrpc":"2.0","id":1,"method":"sum","params":[1,2]})"},
      {LXJSONRPCMessage::notificationWithMethod(u"a/b", withLength, Value(Dictionary{})),
       "X: 1\r\nContent-Length: 45\r\nN: 3\r\n\r\n"
       R"({"jsonrpc":"2.0","method":"a\/b","params":{}})"},
      {LXJSONRPCMessage::responseWithMessageID(Value(u"r"), std::nullopt,
                                               lx_JSONRPCErrorWithCode(-32601, u"nope")),
       "Content-Length: 67\r\n\r\n"
       R"({"jsonrpc":"2.0","id":"r","error":{"code":-32601,"message":"nope"}})"},
      {LXJSONRPCMessage::responseWithMessageID(std::nullopt, std::nullopt, nullptr),
       "Content-Length: 17\r\n\r\n"
       R"({"jsonrpc":"2.0"})"},
      {LXJSONRPCMessage::requestWithMessageID(Value(u"id-1"), u"textDocument/hover", headers,
                                              Value(Dictionary{{u"line", Value(3)}}))},
      {LXJSONRPCMessage::notificationWithMethod(u"exit")},
      {LXJSONRPCMessage::responseWithMessageID(Value(4), Value(Array{Value(0.1), Value(nullptr)}),
                                               nullptr, headers)},
      {LXJSONRPCMessage::responseWithMessageID(
          Value(5), std::nullopt, lx_JSONRPCErrorWithCode(-1, u"50% off", Value(u"d")))},
  };
  for (const auto& [message, expected] : cases) {
    SCOPED_TRACE(toUTF8(message->description()));
    const std::string bytes = serialized(*message);
    if (!expected.empty()) {
      EXPECT_EQ(bytes, expected);
    }
    const Parsed parsed = parse(bytes);
    ASSERT_NE(parsed.message, nullptr);
    EXPECT_EQ(parsed.consumed, bytes.size());
    EXPECT_EQ(parsed.message->messageType(), message->messageType());
    EXPECT_EQ(parsed.message->messageID(), message->messageID());
    EXPECT_EQ(parsed.message->method(), message->method());
    EXPECT_EQ(parsed.message->parameters(), message->parameters());
    EXPECT_EQ(parsed.message->result(), message->result());
    EXPECT_EQ(parsed.message->error() != nullptr, message->error() != nullptr);
    if (message->error()) {
      EXPECT_TRUE(parsed.message->error()->isEqual(*message->error()));
    }
    Dictionary read = parsed.message->headers();
    const std::size_t bodyLength = bytes.size() - bytes.find("\r\n\r\n") - 4;
    EXPECT_EQ(read[u"Content-Length"], Value(fromUTF8(std::to_string(bodyLength))));
    read.erase(u"Content-Length");
    if (expected.empty()) {
      EXPECT_EQ(read, message->headers());  // the given bytes above show the rest
    }
  }
  EXPECT_EQ(cases[1].message->headers()[u"Content-Length"], Value(u"999")) << "only a copy is set";
}

TEST(LXJSONRPCMessageLimitsTest, AcceptsExactlyWhatThePlatformReaderAccepts) {
  for (const std::size_t depth : {1023u, 1024u, 1025u}) {
    SCOPED_TRACE(depth);
    const std::string body =
        R"({"method":"m","params":)" + std::string(depth, '[') + std::string(depth, ']') + "}";
    ScopedLogCapture log;
    const auto message = parse(test::frame(body)).message;
    EXPECT_EQ(message != nullptr, member(body, u"params").has_value());
    if (message) {
      EXPECT_EQ(message->parameters(), member(body, u"params"));
    }
  }
}

}  // namespace
}  // namespace lx
