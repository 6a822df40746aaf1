// Conversions between JSON-RPC error objects ({"code", "message", "data"})
// and error values in `LXJSONRPCErrorDomain`.
//
//   lx_JSONRPCErrorWithCode(7, u"m", absent)  => LXJSONRPCErrorDomain 7,
//       { NSLocalizedDescription = "A JSON-RPC error has occurred.";
//         NSLocalizedRecoverySuggestion = "m"; }
//   lx_JSONRPCDictionary(that error)          => { code = 7; message = "m"; }
//   {"code": "7"}                             => absent, logs "error code is not a number"
#pragma once

#include "vantorcore/Export.h"

#include <cstdint>
#include <optional>

#include "vantorcore/jsonrpc/LXJSONRPCMessage.h"
#include "vantorcore/platform/Error.h"
#include "vantorcore/platform/Value.h"

namespace LX_API lx {

/// An error in `LXJSONRPCErrorDomain` with `code`, the fixed description
/// "A JSON-RPC error has occurred.", `message` as the recovery suggestion and
/// `data`, when present, under `LXJSONRPCErrorDataKey`.
ErrorPtr lx_JSONRPCErrorWithCode(std::int64_t code, StringView message,
                                 const std::optional<Value>& data = std::nullopt);

/// The error of a JSON-RPC error object. A missing "code" counts as 0 and a
/// missing "message" as "". Null, with the log line "Error unpacking
/// JSON-RPC payload: error code is not a number" (or "... error message is
/// not a string"), when a member present has the wrong type.
ErrorPtr lx_errorWithJSONRPCDictionary(const Dictionary& dictionary);

/// The JSON-RPC error object of `error`: "code", "message" (the recovery
/// suggestion, else the localised description) and "data" when the user
/// info has a value under `LXJSONRPCErrorDataKey`.
Dictionary lx_JSONRPCDictionary(const Error& error);

}  // namespace lx
