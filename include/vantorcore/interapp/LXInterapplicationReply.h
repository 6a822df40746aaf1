// `LXInterapplicationReply`: the reply closure a command receives, and the
// same closure as an object for commands that are a target and a method.
#pragma once

#include "vantorcore/Export.h"

#include <cstdint>
#include <functional>

#include "vantorcore/platform/Error.h"
#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/Value.h"

namespace LX_API lx {

/// What a command calls when it is done. `status`: 0 success (`result`
/// carries string values for the caller), 1 failure (`error` describes it),
/// -1 cancelled; any other status sends no reply. Callable from any thread,
/// any number of times (each call sends one reply).
using LXInterapplicationReplyHandler =
    std::function<void(std::int64_t status, const Dictionary& result, const ErrorPtr& error)>;

/// The reply closure as an object, for the target-and-method form: the
/// method receives the command name (String), the arguments (Dictionary) and
/// this object, and calls `reply` on it.
class LXInterapplicationReply : public Object {
  LX_DECLARE_CLASS(LXInterapplicationReply)

 public:
  /// A reply that calls `handler` once with the answer.
  explicit LXInterapplicationReply(LXInterapplicationReplyHandler handler)
      : handler_(std::move(handler)) {}
  /// Sends the reply (see `LXInterapplicationReplyHandler`).
  void reply(std::int64_t status, const Dictionary& result = {},
             const ErrorPtr& error = nullptr) const {
    handler_(status, result, error);
  }

 private:
  LXInterapplicationReplyHandler handler_;
};

}  // namespace lx
