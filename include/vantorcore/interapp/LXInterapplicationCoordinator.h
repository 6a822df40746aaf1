// `LXInterapplicationCoordinator`: named commands that other applications
// trigger by opening a URL in this application's scheme, with replies sent
// back by opening the caller's x-callback-url reply URLs.
//
//   notes://append?text=milk&x-success=shop%3A%2F%2Fdone&x-error=shop%3A%2F%2Ffailed
//     runs the command "append" with { text = "milk"; x-success = "shop://done";
//     x-error = "shop://failed"; }; a success reply opens "shop://done"
//     followed by the result as query items, a failure opens
//     "shop://failed?errorCode=<code>&errorMessage=<description>".
//
// Query values are percent-decoded exactly once, when the URL is read; the
// reply URL found there is used as it is, and values added to it are encoded
// once. So "x-success=a%3A%2F%2Fb%3Fq%3D%2520" replies to "a://b?q=%20", and an
// error text "50% off" arrives as "errorMessage=50%25%20off".
//
// Registration and handling are meant for one thread (the main thread, where
// URL events arrive) and take no locks. Reply closures may be called from
// any thread; replies go out through the coordinator's `URLOpener`.
#pragma once

#include "vantorcore/Export.h"

#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

#include "vantorcore/interapp/LXInterapplicationCommand.h"
#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/URL.h"
#include "vantorcore/platform/URLComponents.h"
#include "vantorcore/platform/URLOpener.h"

namespace LX_API lx {

class LXInterapplicationCoordinator : public Object {
  LX_DECLARE_CLASS(LXInterapplicationCoordinator)

 public:
  /// A coordinator that replies through `opener`, or through
  /// `URLOpener::shared()` (looked up at each reply) when null.
  explicit LXInterapplicationCoordinator(std::shared_ptr<URLOpener> opener = nullptr);

  /// The one shared coordinator, made on first use (thread-safe).
  static std::shared_ptr<LXInterapplicationCoordinator> defaultCoordinator();

  /// Registers a command calling `selector` on `target` (held weakly) with
  /// the command name, the arguments and an `LXInterapplicationReply`, under
  /// the lower-cased `name`. A name already taken is replaced; with debug
  /// logging on this logs "An interapplication command with the name <name>
  /// is already registered. The original command will be used." although the
  /// new command is the one kept.
  void addCommandWithName(StringView name, const std::shared_ptr<Object>& target,
                          std::string selector, Dictionary options = {});
  /// The same with a closure.
  void addCommandWithName(StringView name, Dictionary options,
                          LXInterapplicationCommandHandler block);
  /// Removes the command under the lower-cased `name`, if any.
  void removeCommandWithName(StringView name);
  /// The registered (lower-cased) names, in no particular order.
  [[nodiscard]] std::vector<String> commandNames() const;

  /// Lower-case URL schemes a valid URL must use; absent allows any scheme.
  [[nodiscard]] const std::optional<std::vector<String>>& allowedURLSchemes() const noexcept {
    return allowedURLSchemes_;
  }
  /// Sets the lower-case schemes a valid URL must use; absent allows any.
  void setAllowedURLSchemes(std::optional<std::vector<String>> schemes) {
    allowedURLSchemes_ = std::move(schemes);
  }

  /// The command a URL names: its host, lower-cased; without a host (an
  /// empty host counts as none) the only component of the path, trimmed of
  /// "/" and lower-cased. Absent when there is neither.
  ///   'app://Do-Thing?x=1' => 'do-thing'    'app:/run/' => 'run'
  ///   'app:///a/b' => absent                'app://' => absent
  static std::optional<String> commandNameFromURLComponents(const URLComponents& components);

  /// True when the URL names a command (registered or not), uses an allowed
  /// scheme and has no port, user, password or fragment. `command` and
  /// `arguments`, when given, receive the name and the arguments: the query
  /// items in order that have a non-empty name and a value, decoded once, a
  /// later item replacing an earlier one of the same name (absent without a
  /// name).
  ///@{
  [[nodiscard]] bool isValidInterapplicationURL(const URL& url) const;
  bool isValidInterapplicationURL(const URL& url, std::optional<String>* command,
                                  std::optional<Dictionary>* arguments) const;
  ///@}

  /// Runs the command the URL names (no scheme, port or fragment checks:
  /// validate first) with its arguments and a reply closure bound to them.
  /// False when no such command is registered (logged as "No
  /// interapplication command registered with name: <name>" with debug
  /// logging on).
  bool handleInterapplicationURL(const URL& url);

  /// Opens a reply URL through the coordinator's opener. False, with the
  /// opener's error, when it could not be handed to its application.
  bool invokeResponseURL(const URL& url, ErrorPtr* error = nullptr);

  /// The reply closure for a command run with `arguments`; what
  /// `handleInterapplicationURL` hands to commands. Status 0 opens
  /// "x-success" with the result's entries appended as query items (every
  /// value must be a string, otherwise `InvalidArgumentException` "Reply
  /// arguments must be strings" is thrown); 1 opens "x-error" with
  /// "errorCode" and "errorMessage" appended; -1 opens "x-cancel" as it is;
  /// other statuses, and missing or empty reply URLs, send nothing. A reply
  /// URL that does not parse, or has no scheme, is logged as "Cannot reply to
  /// “<url>”: not a URL" and not opened.
  [[nodiscard]] LXInterapplicationReplyHandler replyHandlerForArguments(
      const Dictionary& arguments);

 private:
  std::shared_ptr<URLOpener> opener_;
  std::unordered_map<String, LXInterapplicationCommand> commands_;
  std::optional<std::vector<String>> allowedURLSchemes_;
};

}  // namespace lx
