// `LXJSONRPCMessage`: one JSON-RPC 2.0 message and the header block that
// frames it on a byte stream ("Name: value" lines, an empty line, then
// "Content-Length" bytes of a UTF-8 JSON object).
//
//   'Content-Length: 2\r\n\r\n{}'        => response, no id, consumed 23
//   'Content-Length: 2\r\n\r\n{'         => absent, consumed 0, additional 1
//   'Content-Length: 5\r\n'              => absent, consumed 0, additional 0
//   request(id 1, "sum", [1, 2])         => 'Content-Length: 54\r\n\r\n'
//                                           '{"jsonrpc":"2.0","id":1,"method":"sum","params":[1,2]}'
#pragma once

#include "vantorcore/Export.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>

#include "vantorcore/platform/Data.h"
#include "vantorcore/platform/Error.h"
#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/String.h"
#include "vantorcore/platform/Value.h"

namespace LX_API lx {

/// The domain of every JSON-RPC error value.
inline constexpr StringView LXJSONRPCErrorDomain = u"LXJSONRPCErrorDomain";
/// The user-info key under which an error carries the JSON-RPC "data" member.
inline constexpr StringView LXJSONRPCErrorDataKey = u"LXJSONRPCErrorData";

/// The code pending requests receive when their listener stops.
inline constexpr std::int64_t LXJSONRPCRequestCancelledError = -32800;
/// The code a listener terminates with when a message announces more bytes
/// than its maximum message size.
inline constexpr std::int64_t LXJSONRPCMessageTooLargeError = -32001;

/// Whether a message asks for an answer, answers one, or only informs.
enum class LXJSONRPCMessageType : std::int64_t { Request = 0, Response = 1, Notification = 2 };

/// One JSON-RPC 2.0 message with its transport headers; build it with the factory functions.
class LXJSONRPCMessage : public Object {
  LX_DECLARE_CLASS(LXJSONRPCMessage)
  struct Key {};

 public:
  /// The two bytes CR LF, made once per process.
  static const Data& CRLFData();

  /// A request (type 0). Absent `headers` become an empty dictionary.
  static std::shared_ptr<LXJSONRPCMessage> requestWithMessageID(
      Value messageID, String method, std::optional<Dictionary> headers = std::nullopt,
      std::optional<Value> parameters = std::nullopt);
  /// A response (type 1); any of id, result and error may be absent.
  static std::shared_ptr<LXJSONRPCMessage> responseWithMessageID(
      std::optional<Value> messageID, std::optional<Value> result, ErrorPtr error,
      std::optional<Dictionary> headers = std::nullopt);
  /// A notification (type 2).
  static std::shared_ptr<LXJSONRPCMessage> notificationWithMethod(
      String method, std::optional<Dictionary> headers = std::nullopt,
      std::optional<Value> parameters = std::nullopt);

  /// Parses one message from the front of `data`.
  ///
  /// - Header block not complete yet: null, consumed 0, additional 0 (wait
  ///   for the next CR LF).
  /// - Body not complete yet: null, consumed 0, additional = the exact number
  ///   of bytes still missing.
  /// - Body complete but not a usable JSON-RPC object: null, additional 0,
  ///   consumed left as it was, and one log line ("Error unpacking JSON-RPC
  ///   payload: ..."). The caller meets the same bytes again next time.
  /// - Otherwise the message, consumed = header block + body.
  ///
  /// Header names are case-sensitive; lines without ": " are ignored; the
  /// body length is the leading digits of "Content-Length" (0 when missing,
  /// saturating rather than wrapping when absurdly long). A header line
  /// that is not ASCII has no meaning in the protocol and is ignored like a
  /// line without ": ". Both out-parameters may be null. Thread-safe.
  ///
  /// The body is validated completely here; the headers, "params" and
  /// "result" are turned into values on first access, so a reader that only
  /// routes messages by id and method never pays for building them.
  static std::shared_ptr<LXJSONRPCMessage> messageWithData(
      DataView data, std::size_t* consumedLength = nullptr,
      std::size_t* additionalRequiredLength = nullptr);

  /// The framed bytes: header lines in the dictionary's order with
  /// "Content-Length" set to the body's length, CR LF, the compact JSON body
  /// (no trailing line feed). Absent, with the line "Error encoding JSON-RPC
  /// payload: %@", when the body cannot be encoded as JSON.
  [[nodiscard]] std::optional<Data> messageData() const;

  /// Request, response or notification.
  ///@{
  [[nodiscard]] LXJSONRPCMessageType messageType() const noexcept { return type_; }
  void setMessageType(LXJSONRPCMessageType type) noexcept { type_ = type; }
  ///@}
  /// Header name => header value, both strings. Never absent. The reference
  /// stays valid until `setHeaders`.
  [[nodiscard]] const Dictionary& headers() const;
  /// The transport headers sent before the body ("Content-Length" is set when writing).
  void setHeaders(Dictionary headers);
  /// The id of a request or response (a number or string in practice).
  [[nodiscard]] const std::optional<Value>& messageID() const noexcept { return messageID_; }
  /// The request id a response answers; absent for a notification.
  void setMessageID(std::optional<Value> messageID) { messageID_ = std::move(messageID); }
  /// The method of a request or notification.
  [[nodiscard]] const std::optional<String>& method() const noexcept { return method_; }
  /// The method a request or notification calls; absent in a response.
  void setMethod(std::optional<String> method) { method_ = std::move(method); }
  /// The "params" of a request or notification: a dictionary or an array.
  [[nodiscard]] std::optional<Value> parameters() const;
  /// A request's parameters (an array or object); absent for none.
  void setParameters(std::optional<Value> parameters);
  /// The "result" of a response. Read and written atomically.
  [[nodiscard]] std::optional<Value> result() const;
  /// A successful response's result.
  void setResult(std::optional<Value> result);
  /// The error of a response. Read and written atomically.
  [[nodiscard]] ErrorPtr error() const;
  /// A failed response's error; its code and message go into the "error" member.
  void setError(ErrorPtr error);

  [[nodiscard]] String description() const override;

  /// Made by the factory functions above; the key keeps the constructor private to them.
  LXJSONRPCMessage(Key, LXJSONRPCMessageType type, Dictionary headers);
  ~LXJSONRPCMessage() override;

 private:
  // The header block and body of a parsed message, kept until the headers
  // and "params" or "result" are first asked for.
  struct Framed;
  struct FramedDeleter {
    void operator()(Framed* framed) const noexcept;
  };
  // The parts `framed_` still holds, as bits.
  enum Part : unsigned { kHeaders = 1, kParameters = 2, kResult = 4 };
  // Build a part from `framed_` when it still holds it; the caller holds `mutex_`.
  void materializeHeadersLocked() const;
  void materializeMemberLocked(Part member) const;
  // `framed_` no longer holds `part`, and goes once it holds nothing.
  void releaseLocked(Part part) const;

  LXJSONRPCMessageType type_;
  std::optional<Value> messageID_;
  std::optional<String> method_;
  mutable std::mutex mutex_;  // guards the members below
  mutable Dictionary headers_;
  mutable std::optional<Value> parameters_;
  mutable std::optional<Value> result_;
  ErrorPtr error_;
  mutable std::unique_ptr<Framed, FramedDeleter> framed_;
};

}  // namespace lx
