// `LXInterapplicationCommand`: one command an `LXInterapplicationCoordinator`
// runs, either a closure or a target object and the name of one of its
// registered methods (see Object.h).
#pragma once

#include "vantorcore/Export.h"

#include <functional>
#include <memory>
#include <string>

#include "vantorcore/interapp/LXInterapplicationReply.h"
#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/Value.h"

namespace LX_API lx {

/// A command's closure: the lower-cased command name, the arguments from the
/// URL's query, and the reply closure.
using LXInterapplicationCommandHandler =
    std::function<void(const String& command, const Dictionary& arguments,
                       const LXInterapplicationReplyHandler& reply)>;

class LXInterapplicationCommand {
 public:
  /// The target, held weakly: a command whose target is gone does nothing.
  std::weak_ptr<Object> target;
  /// The method called on the target.
  std::string selector;
  /// The closure; when set it is called instead of the target.
  LXInterapplicationCommandHandler block;
  /// Stored with the command for its owner; the coordinator ignores it.
  Dictionary options;
};

}  // namespace lx
