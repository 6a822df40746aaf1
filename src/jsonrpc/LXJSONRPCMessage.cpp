#include "vantorcore/jsonrpc/LXJSONRPCMessage.h"

#include <simdjson.h>

#include <cstring>
#include <limits>
#include <string_view>

#include "platform/JSONElement.h"
#include "vantorcore/jsonrpc/Error+LXJSONRPC.h"
#include "vantorcore/platform/JSON.h"
#include "vantorcore/platform/Log.h"
#include "vantorcore/platform/StringFormat.h"

namespace lx {

LX_DEFINE_CLASS(LXJSONRPCMessage, lx::Object)

// The header block and the body, copied once into one allocation with the
// padding simdjson reads past the end, so the body is parsed in place and the
// same bytes serve the lazy headers and member later.
struct LXJSONRPCMessage::Framed {
  std::size_t headerLength = 0;
  std::size_t bodyLength = 0;
  // The headers, and "params" or "result" when the body has them.
  unsigned held = kHeaders;

  static Framed* make(std::string_view headerBlock, std::string_view body) {
    void* memory = ::operator new(sizeof(Framed) + headerBlock.size() + body.size() +
                                  simdjson::SIMDJSON_PADDING);
    auto* framed = new (memory) Framed{headerBlock.size(), body.size()};
    char* bytes = framed->bytes();
    std::memcpy(bytes, headerBlock.data(), headerBlock.size());
    std::memcpy(bytes + headerBlock.size(), body.data(), body.size());
    std::memset(bytes + headerBlock.size() + body.size(), 0, simdjson::SIMDJSON_PADDING);
    return framed;
  }
  char* bytes() noexcept { return reinterpret_cast<char*>(this + 1); }
  [[nodiscard]] std::string_view headerBlock() noexcept { return {bytes(), headerLength}; }
  // Followed by SIMDJSON_PADDING readable bytes.
  [[nodiscard]] std::string_view body() noexcept { return {bytes() + headerLength, bodyLength}; }
};

void LXJSONRPCMessage::FramedDeleter::operator()(Framed* framed) const noexcept {
  framed->~Framed();
  ::operator delete(framed);
}

namespace {

constexpr std::string_view kCRLF = "\r\n";
constexpr std::string_view kContentLength = "Content-Length";

// Every body accepted here must also read through `JSONObjectWithData`
// later, which allows the same depth.
static_assert(simdjson::DEFAULT_MAX_DEPTH == JSONSerialization::kMaximumDepth);

String widenASCII(std::string_view text) { return String(text.begin(), text.end()); }

// The name and value of a header line, or nothing for a line the protocol
// ignores: one without ": ", or one that is not ASCII.
std::optional<std::pair<std::string_view, std::string_view>> splitHeaderLine(
    std::string_view line) {
  unsigned char bits = 0;
  for (const char c : line) bits |= static_cast<unsigned char>(c);
  if (bits & 0x80) return std::nullopt;
  const std::size_t separator = line.find(": ");
  if (separator == std::string_view::npos) return std::nullopt;
  return std::pair(line.substr(0, separator), line.substr(separator + 2));
}

// Calls `onLine` with each line of the header block and returns where the
// body starts, or nothing while the empty line has not arrived yet.
template <class OnLine>
std::optional<std::size_t> scanHeaderBlock(std::string_view data, OnLine&& onLine) {
  std::size_t position = 0;
  for (;;) {
    const std::size_t end = data.find(kCRLF, position);
    if (end == std::string_view::npos) return std::nullopt;
    if (end == position) return end + kCRLF.size();
    onLine(data.substr(position, end - position));
    position = end + kCRLF.size();
  }
}

// The leading decimal digits of `text`, saturating instead of wrapping.
std::size_t leadingDigitsValue(std::string_view text) {
  constexpr std::size_t kMax = std::numeric_limits<std::size_t>::max();
  std::size_t value = 0;
  for (const char c : text) {
    if (c < '0' || c > '9') break;
    const auto digit = static_cast<std::size_t>(c - '0');
    if (value > (kMax - digit) / 10) return kMax;
    value = value * 10 + digit;
  }
  return value;
}

Dictionary headersOf(std::string_view block) {
  Dictionary headers;
  scanHeaderBlock(block, [&](std::string_view line) {
    if (auto header = splitHeaderLine(line))
      headers.set(widenASCII(header->first), widenASCII(header->second));
  });
  return headers;
}

// The whole body as a dictionary. Only called on bodies the parse step has
// already accepted as an object, which the platform reader accepts too.
void logDecodingError(std::string_view body) {
  // Asking the platform reader again gives the same verdict together with
  // its error value; bad bodies are rare enough not to matter for speed.
  ErrorPtr error;
  (void)JSONSerialization::JSONObjectWithData(body, 0, &error);
  // The reader's debug description says what is wrong and at which byte.
  logFormat(u"Error unpacking JSON-RPC payload: %@ UserInfo={NSDebugDescription=%@}", error,
            error->userInfo()[u"NSDebugDescription"]);
}

// The members of a body that decide what the message is. A repeated key
// counts with its last value, as in the dictionary the platform reader makes.
struct BodyMembers {
  std::optional<simdjson::dom::element> id, method, params, result, error;
};

BodyMembers membersOf(simdjson::dom::object object) {
  BodyMembers members;
  for (const simdjson::dom::key_value_pair member : object) {
    const std::string_view key = member.key;
    if (key == "id") {
      members.id = member.value;
    } else if (key == "method") {
      members.method = member.value;
    } else if (key == "params") {
      members.params = member.value;
    } else if (key == "result") {
      members.result = member.value;
    } else if (key == "error") {
      members.error = member.value;
    }
  }
  return members;
}

// The logged reason why `members` cannot make a message, or null.
const char16_t* invalidMembersReason(const BodyMembers& members) {
  if (members.method && !members.method->is_string())
    return u"Error unpacking JSON-RPC payload: method is not a string";
  if (members.params && !members.params->is_object() && !members.params->is_array())
    return u"JSON-RPC payload parameters is not a structured value";
  if (members.error && !members.error->is_object())
    return u"Error unpacking JSON-RPC payload: error is not an object";
  return nullptr;
}

}  // namespace

LXJSONRPCMessage::LXJSONRPCMessage(Key, LXJSONRPCMessageType type, Dictionary headers)
    : type_(type), headers_(std::move(headers)) {}

LXJSONRPCMessage::~LXJSONRPCMessage() = default;

const Data& LXJSONRPCMessage::CRLFData() {
  static const Data crlf = dataFromBytes(kCRLF);
  return crlf;
}

std::shared_ptr<LXJSONRPCMessage> LXJSONRPCMessage::requestWithMessageID(
    Value messageID, String method, std::optional<Dictionary> headers,
    std::optional<Value> parameters) {
  auto message = std::make_shared<LXJSONRPCMessage>(Key{}, LXJSONRPCMessageType::Request,
                                                    std::move(headers).value_or(Dictionary()));
  message->messageID_ = std::move(messageID);
  message->method_ = std::move(method);
  message->parameters_ = std::move(parameters);
  return message;
}

std::shared_ptr<LXJSONRPCMessage> LXJSONRPCMessage::responseWithMessageID(
    std::optional<Value> messageID, std::optional<Value> result, ErrorPtr error,
    std::optional<Dictionary> headers) {
  auto message = std::make_shared<LXJSONRPCMessage>(Key{}, LXJSONRPCMessageType::Response,
                                                    std::move(headers).value_or(Dictionary()));
  message->messageID_ = std::move(messageID);
  message->result_ = std::move(result);
  message->error_ = std::move(error);
  return message;
}

std::shared_ptr<LXJSONRPCMessage> LXJSONRPCMessage::notificationWithMethod(
    String method, std::optional<Dictionary> headers, std::optional<Value> parameters) {
  auto message = std::make_shared<LXJSONRPCMessage>(Key{}, LXJSONRPCMessageType::Notification,
                                                    std::move(headers).value_or(Dictionary()));
  message->method_ = std::move(method);
  message->parameters_ = std::move(parameters);
  return message;
}

std::shared_ptr<LXJSONRPCMessage> LXJSONRPCMessage::messageWithData(
    DataView data, std::size_t* consumedLength, std::size_t* additionalRequiredLength) {
  const std::string_view bytes = asStringView(data);

  // First pass: only the body's length, so that a reader waiting for more
  // bytes builds nothing.
  std::size_t bodyLength = 0;
  const std::optional<std::size_t> bodyStart = scanHeaderBlock(bytes, [&](std::string_view line) {
    const auto header = splitHeaderLine(line);
    if (header && header->first == kContentLength) bodyLength = leadingDigitsValue(header->second);
  });
  std::size_t total = 0;
  if (bodyStart) {
    total = bodyLength > std::numeric_limits<std::size_t>::max() - *bodyStart
                ? std::numeric_limits<std::size_t>::max()
                : *bodyStart + bodyLength;
  }
  if (!bodyStart || total > bytes.size()) {
    if (consumedLength) *consumedLength = 0;
    if (additionalRequiredLength) *additionalRequiredLength = bodyStart ? total - bytes.size() : 0;
    return nullptr;
  }
  if (additionalRequiredLength) *additionalRequiredLength = 0;

  std::unique_ptr<Framed, FramedDeleter> framed(
      Framed::make(bytes.substr(0, *bodyStart), bytes.substr(*bodyStart, bodyLength)));
  const std::string_view body = framed->body();

  detail::ThreadJSONParser parser;
  simdjson::dom::element root;
  const bool decoded = !parser->parse(body.data(), body.size(), false).get(root);
  if (!decoded || !root.is_object()) {
    // Scalars are refused by the platform reader itself, without fragments.
    if (decoded && root.is_array()) {
      logLine(u"Error unpacking JSON-RPC payload: payload is not an object");
    } else {
      logDecodingError(body);
    }
    return nullptr;
  }
  const BodyMembers members = membersOf(root.get_object().value_unsafe());
  if (const char16_t* reason = invalidMembersReason(members)) {
    logLine(reason);
    return nullptr;
  }

  const LXJSONRPCMessageType type = !members.method ? LXJSONRPCMessageType::Response
                                    : members.id    ? LXJSONRPCMessageType::Request
                                                    : LXJSONRPCMessageType::Notification;
  auto message = std::make_shared<LXJSONRPCMessage>(Key{}, type, Dictionary());
  if (members.method) message->method_ = fromUTF8(members.method->get_string().value_unsafe());
  if (members.id) message->messageID_ = detail::valueFromJSONElement(*members.id, 0);
  const bool isResponse = type == LXJSONRPCMessageType::Response;
  const auto& deferred = isResponse ? members.result : members.params;

  // A response carrying an error is rare: its members are converted at once.
  if (isResponse && members.error) {
    if (members.result)
      message->result_ = detail::valueFromJSONElement(*members.result, bodyLength);
    const Value error = detail::valueFromJSONElement(*members.error, bodyLength);
    if (const Dictionary* object = error.asDictionary())
      message->error_ = lx_errorWithJSONRPCDictionary(*object);
  } else if (deferred) {
    framed->held |= isResponse ? kResult : kParameters;
  }
  message->framed_ = std::move(framed);
  if (consumedLength) *consumedLength = total;
  return message;
}

void LXJSONRPCMessage::materializeHeadersLocked() const {
  if (!framed_ || !(framed_->held & kHeaders)) return;
  headers_ = headersOf(framed_->headerBlock());
  releaseLocked(kHeaders);
}

void LXJSONRPCMessage::materializeMemberLocked(Part member) const {
  if (!framed_ || !(framed_->held & member)) return;
  // The body was validated when the message was made; parsing it again costs
  // less than keeping its parsed form, and only the one member is built.
  const std::string_view body = framed_->body();
  detail::ThreadJSONParser parser;
  simdjson::dom::element root;
  std::optional<Value> value;
  if (!parser->parse(body.data(), body.size(), false).get(root) && root.is_object()) {
    const BodyMembers members = membersOf(root.get_object().value_unsafe());
    const auto& element = member == kResult ? members.result : members.params;
    if (element) value = detail::valueFromJSONElement(*element, body.size());
  } else {
    LXConditionFailed(u"JSON-RPC body no longer reads as an object");
  }
  (member == kResult ? result_ : parameters_) = std::move(value);
  releaseLocked(member);
}

void LXJSONRPCMessage::releaseLocked(Part part) const {
  if (framed_ && (framed_->held &= ~part) == 0) framed_.reset();
}

const Dictionary& LXJSONRPCMessage::headers() const {
  std::lock_guard lock(mutex_);
  materializeHeadersLocked();
  return headers_;
}

void LXJSONRPCMessage::setHeaders(Dictionary headers) {
  std::lock_guard lock(mutex_);
  releaseLocked(kHeaders);
  headers_ = std::move(headers);
}

std::optional<Value> LXJSONRPCMessage::parameters() const {
  std::lock_guard lock(mutex_);
  materializeMemberLocked(kParameters);
  return parameters_;
}

void LXJSONRPCMessage::setParameters(std::optional<Value> parameters) {
  std::lock_guard lock(mutex_);
  releaseLocked(kParameters);
  parameters_ = std::move(parameters);
}

std::optional<Value> LXJSONRPCMessage::result() const {
  std::lock_guard lock(mutex_);
  materializeMemberLocked(kResult);
  return result_;
}

void LXJSONRPCMessage::setResult(std::optional<Value> result) {
  std::lock_guard lock(mutex_);
  releaseLocked(kResult);
  result_ = std::move(result);
}

ErrorPtr LXJSONRPCMessage::error() const {
  std::lock_guard lock(mutex_);
  return error_;
}

void LXJSONRPCMessage::setError(ErrorPtr error) {
  std::lock_guard lock(mutex_);
  error_ = std::move(error);
}

std::optional<Data> LXJSONRPCMessage::messageData() const {
  Dictionary body;
  body.set(u"jsonrpc", u"2.0");
  switch (type_) {
    case LXJSONRPCMessageType::Request:
    case LXJSONRPCMessageType::Notification:
      if (type_ == LXJSONRPCMessageType::Request && messageID_) body.set(u"id", *messageID_);
      if (method_) body.set(u"method", *method_);
      if (auto parameters = this->parameters()) body.set(u"params", std::move(*parameters));
      break;
    case LXJSONRPCMessageType::Response:
      if (messageID_) body.set(u"id", *messageID_);
      if (auto result = this->result()) body.set(u"result", std::move(*result));
      if (ErrorPtr error = this->error()) body.set(u"error", lx_JSONRPCDictionary(*error));
      break;
  }
  ErrorPtr error;
  std::optional<Data> json =
      JSONSerialization::dataWithJSONObject(Value(std::move(body)), 0, &error);
  if (!json) {
    logFormat(u"Error encoding JSON-RPC payload: %@", error);
    return std::nullopt;
  }

  Dictionary headers = this->headers();
  headers.set(u"Content-Length",
              stringWithFormat(u"%llu", static_cast<unsigned long long>(json->size())));
  Data out;
  out.reserve(json->size() + 64 * headers.size());
  for (const auto& [name, value] : headers) {
    const String line = stringWithFormat(u"%@: %@", name, value);
    // A line that is not ASCII could not be read back; one holding CR LF
    // would end the header block early and corrupt everything after it.
    bool ascii = true;
    for (const char16_t c : line) ascii &= c < 0x80;
    if (!ascii || line.find(u"\r\n") != String::npos) {
      LXConditionFailed(u"JSON-RPC header line is not plain ASCII");
      continue;
    }
    out.insert(out.end(), line.begin(), line.end());
    out.insert(out.end(), kCRLF.begin(), kCRLF.end());
  }
  out.insert(out.end(), kCRLF.begin(), kCRLF.end());
  out.insert(out.end(), json->begin(), json->end());
  return out;
}

String LXJSONRPCMessage::description() const {
  static constexpr const char16_t* kTypeNames[] = {u"request", u"response", u"notification"};
  const auto index = static_cast<std::size_t>(type_);
  const StringView typeName = index < 3 ? kTypeNames[index] : u"unknown";
  return stringWithFormat(u"<LXJSONRPCMessage: %@ id=%@ method=%@>", typeName,
                          messageID_ ? messageID_->description() : String(u"(none)"),
                          method_.value_or(u"(none)"));
}

}  // namespace lx
