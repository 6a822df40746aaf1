// Feeds arbitrary bytes to the JSON-RPC message parser the way a stream
// reader does: parse from the front, advance by the consumed length, stop
// when nothing results. For any input: no crash or hang; consumed never
// passes the end; an additional length is asked for only without a message;
// every message parsed writes out and reads back to an equal message.
#include <cstdint>
#include <cstdlib>

#include "vantorcore/jsonrpc/LXJSONRPCMessage.h"
#include "vantorcore/platform/Log.h"

namespace {

constexpr std::size_t kUnset = static_cast<std::size_t>(-1);

void check(bool condition) {
  if (!condition) std::abort();
}

bool sameError(const lx::ErrorPtr& a, const lx::ErrorPtr& b) {
  return a == b || (a && b && a->isEqual(*b));
}

// Headers compare without "Content-Length": writing sets it to the body's
// real length, whatever the parsed text said.
lx::Dictionary withoutLength(lx::Dictionary headers) {
  headers.erase(u"Content-Length");
  return headers;
}

void checkRoundTrip(const lx::LXJSONRPCMessage& message) {
  const std::optional<lx::Data> data = message.messageData();
  check(data.has_value());
  std::size_t consumed = kUnset;
  const auto again = lx::LXJSONRPCMessage::messageWithData(*data, &consumed);
  check(again && consumed == data->size());
  check(again->messageType() == message.messageType());
  check(again->messageID() == message.messageID());
  check(again->method() == message.method());
  check(again->parameters() == message.parameters());
  check(again->result() == message.result());
  check(sameError(again->error(), message.error()));
  check(withoutLength(again->headers()) == withoutLength(message.headers()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static const lx::LogSink discarded = lx::discardLogLines();
  const lx::DataView input(bytes, size);
  std::size_t offset = 0;
  for (;;) {
    const lx::DataView rest = input.subspan(offset);
    std::size_t consumed = kUnset;
    std::size_t additional = kUnset;
    const auto message = lx::LXJSONRPCMessage::messageWithData(rest, &consumed, &additional);
    check(additional != kUnset);
    check((lx::LXJSONRPCMessage::messageWithData(rest) != nullptr) == (message != nullptr));
    if (!message) {
      check(consumed == 0 || consumed == kUnset);
      check(additional == 0 || consumed == 0);
      break;
    }
    check(additional == 0 && consumed > 0 && consumed <= rest.size());
    checkRoundTrip(*message);
    offset += consumed;
  }
  return 0;
}
