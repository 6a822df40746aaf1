#include "vantorcore/jsonrpc/Error+LXJSONRPC.h"

#include "vantorcore/platform/Log.h"
#include "vantorcore/text/VantorCoreLocale.h"

namespace lx {

ErrorPtr lx_JSONRPCErrorWithCode(std::int64_t code, StringView message,
                                 const std::optional<Value>& data) {
  // Built directly rather than through lx_errorWithTitle: that doubles every
  // '%' of the message, and the message must come back out unchanged.
  Dictionary userInfo{
      {String(NSLocalizedDescriptionKey), LXLocal(u"A JSON-RPC error has occurred.")},
      {String(NSLocalizedRecoverySuggestionErrorKey), String(message)},
  };
  if (data) userInfo.set(LXJSONRPCErrorDataKey, *data);
  return Error::make(String(LXJSONRPCErrorDomain), code, std::move(userInfo));
}

ErrorPtr lx_errorWithJSONRPCDictionary(const Dictionary& dictionary) {
  const Value* code = dictionary.find(u"code");
  if (code && !code->isNumber()) {
    logLine(u"Error unpacking JSON-RPC payload: error code is not a number");
    return nullptr;
  }
  const Value* message = dictionary.find(u"message");
  if (message && !message->isString()) {
    logLine(u"Error unpacking JSON-RPC payload: error message is not a string");
    return nullptr;
  }
  std::optional<Value> data;
  if (const Value* member = dictionary.find(u"data")) data = *member;
  return lx_JSONRPCErrorWithCode(code ? code->int64Value() : 0,
                                 message ? StringView(*message->asString()) : StringView(), data);
}

Dictionary lx_JSONRPCDictionary(const Error& error) {
  Dictionary dictionary{
      {u"code", Value(error.code())},
      {u"message", error.localizedRecoverySuggestion().value_or(error.localizedDescription())},
  };
  if (const Value* data = error.userInfo().find(LXJSONRPCErrorDataKey))
    dictionary.set(u"data", *data);
  return dictionary;
}

}  // namespace lx
