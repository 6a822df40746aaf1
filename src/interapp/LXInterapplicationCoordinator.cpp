#include "vantorcore/interapp/LXInterapplicationCoordinator.h"

#include <algorithm>
#include <array>

#include "vantorcore/platform/Exception.h"
#include "vantorcore/platform/Log.h"
#include "vantorcore/platform/StringFormat.h"
#include "vantorcore/text/DebugLogging.h"

namespace lx {

LX_DEFINE_CLASS(LXInterapplicationCoordinator, Object)
LX_DEFINE_CLASS(LXInterapplicationReply, Object)

namespace {

constexpr std::int64_t kStatusSuccess = 0;
constexpr std::int64_t kStatusError = 1;
constexpr std::int64_t kStatusCancelled = -1;

std::optional<String> nonEmpty(std::optional<String> text) {
  if (text && text->empty()) return std::nullopt;
  return text;
}

// Query items decoded once, keeping those with a name and a value.
Dictionary argumentsFromComponents(const URLComponents& components) {
  Dictionary arguments;
  for (const URLQueryItem& item : components.queryItems().value_or(std::vector<URLQueryItem>{})) {
    if (!item.name.empty() && item.value) arguments.set(item.name, *item.value);
  }
  return arguments;
}

// The reply URL under `key` with `extra` query items after its own, or
// absent (nothing to send) when the argument is missing, empty or no URL.
std::optional<URL> replyURL(const Dictionary& arguments, StringView key,
                            const std::vector<URLQueryItem>& extra) {
  const String text = stringOr(arguments.find(key));
  if (text.empty()) return std::nullopt;
  std::optional<URLComponents> components = URLComponents::componentsWithString(text);
  if (components && !extra.empty()) {
    std::vector<URLQueryItem> items =
        components->queryItems().value_or(std::vector<URLQueryItem>{});
    items.insert(items.end(), extra.begin(), extra.end());
    components->setQueryItems(items);
  }
  std::optional<URL> url = components ? components->URL() : std::nullopt;
  if (url && !url->scheme()) url.reset();  // a relative reference names no application
  if (!url) logFormat(u"Cannot reply to “%@”: not a URL", text);
  return url;
}

// Opens through `opener`, or the process-wide opener when there is none.
bool openReplyURL(const std::shared_ptr<URLOpener>& opener, const URL& url, ErrorPtr* error) {
  ErrorPtr failure;
  if ((opener ? opener : URLOpener::shared())->openURL(url, &failure)) return true;
  logFormat(u"Cannot open the reply URL “%@”: %@", url.absoluteString(),
            failure ? failure->localizedDescription() : String());
  setError(error, failure);
  return false;
}

}  // namespace

LXInterapplicationCoordinator::LXInterapplicationCoordinator(std::shared_ptr<URLOpener> opener)
    : opener_(std::move(opener)) {}

std::shared_ptr<LXInterapplicationCoordinator> LXInterapplicationCoordinator::defaultCoordinator() {
  static const auto coordinator = std::make_shared<LXInterapplicationCoordinator>();
  return coordinator;
}

void LXInterapplicationCoordinator::addCommandWithName(StringView name,
                                                       const std::shared_ptr<Object>& target,
                                                       std::string selector, Dictionary options) {
  const String key = lowercaseString(name);
  if (commands_.contains(key) && LXDebugLoggingIsEnabled()) {
    logFormat(
        u"An interapplication command with the name %@ is already registered. The original "
        u"command will be used.",
        key);
  }
  commands_[key] =
      LXInterapplicationCommand{target, std::move(selector), nullptr, std::move(options)};
}

void LXInterapplicationCoordinator::addCommandWithName(StringView name, Dictionary options,
                                                       LXInterapplicationCommandHandler block) {
  addCommandWithName(name, nullptr, std::string(), std::move(options));
  commands_[lowercaseString(name)].block = std::move(block);
}

void LXInterapplicationCoordinator::removeCommandWithName(StringView name) {
  commands_.erase(lowercaseString(name));
}

std::vector<String> LXInterapplicationCoordinator::commandNames() const {
  std::vector<String> names;
  names.reserve(commands_.size());
  for (const auto& entry : commands_) names.push_back(entry.first);
  return names;
}

std::optional<String> LXInterapplicationCoordinator::commandNameFromURLComponents(
    const URLComponents& components) {
  if (const std::optional<String> host = nonEmpty(components.host())) return lowercaseString(*host);
  const String path = components.path();
  const std::size_t first = path.find_first_not_of(u'/');
  if (first == String::npos) return std::nullopt;
  const std::size_t last = path.find_last_not_of(u'/');
  const String trimmed = path.substr(first, last - first + 1);
  if (trimmed.find(u'/') != String::npos) return std::nullopt;
  return lowercaseString(trimmed);
}

bool LXInterapplicationCoordinator::isValidInterapplicationURL(const URL& url) const {
  return isValidInterapplicationURL(url, nullptr, nullptr);
}

bool LXInterapplicationCoordinator::isValidInterapplicationURL(
    const URL& url, std::optional<String>* command, std::optional<Dictionary>* arguments) const {
  if (command) command->reset();
  if (arguments) arguments->reset();
  const std::optional<URLComponents> components = URLComponents::componentsWithURL(url, true);
  if (!components) return false;
  if (allowedURLSchemes_) {
    const String scheme = lowercaseString(components->scheme().value_or(u""));
    if (std::find(allowedURLSchemes_->begin(), allowedURLSchemes_->end(), scheme) ==
        allowedURLSchemes_->end())
      return false;
  }
  if (components->port() || components->user() || components->password() || components->fragment())
    return false;
  const std::optional<String> name = commandNameFromURLComponents(*components);
  if (command) *command = name;
  if (arguments && name) *arguments = argumentsFromComponents(*components);
  return name && !name->empty();
}

bool LXInterapplicationCoordinator::handleInterapplicationURL(const URL& url) {
  const std::optional<URLComponents> components = URLComponents::componentsWithURL(url, true);
  const std::optional<String> name =
      components ? commandNameFromURLComponents(*components) : std::nullopt;
  const auto found = name ? commands_.find(*name) : commands_.end();
  if (found == commands_.end()) {
    if (LXDebugLoggingIsEnabled())
      logFormat(u"No interapplication command registered with name: %@", name.value_or(u""));
    return false;
  }
  const Dictionary arguments = argumentsFromComponents(*components);
  const LXInterapplicationReplyHandler reply = replyHandlerForArguments(arguments);
  // A copy: the command may remove itself while it runs.
  const LXInterapplicationCommand command = found->second;
  if (command.block) {
    command.block(*name, arguments, reply);
  } else if (const std::shared_ptr<Object> target = command.target.lock();
             target && target->respondsToSelector(command.selector)) {
    const std::array<Value, 3> values{Value(*name), Value(arguments),
                                      Value(std::make_shared<LXInterapplicationReply>(reply))};
    target->performSelector(command.selector, values);
  }
  return true;
}

bool LXInterapplicationCoordinator::invokeResponseURL(const URL& url, ErrorPtr* error) {
  return openReplyURL(opener_, url, error);
}

LXInterapplicationReplyHandler LXInterapplicationCoordinator::replyHandlerForArguments(
    const Dictionary& arguments) {
  return [opener = opener_, arguments](std::int64_t status, const Dictionary& result,
                                       const ErrorPtr& error) {
    std::optional<URL> url;
    if (status == kStatusCancelled) {
      url = replyURL(arguments, u"x-cancel", {});
    } else if (status == kStatusError) {
      url = replyURL(arguments, u"x-error",
                     {{u"errorCode", stringWithFormat(u"%d", error ? error->code() : 0)},
                      {u"errorMessage", error ? error->localizedDescription() : String()}});
    } else if (status == kStatusSuccess) {
      std::vector<URLQueryItem> items;
      for (const auto& [key, value] : result) {
        if (!value.isString()) throw InvalidArgumentException(u"Reply arguments must be strings");
        items.push_back({key.str(), value.asString()->str()});
      }
      url = replyURL(arguments, u"x-success", items);
    }
    if (url) openReplyURL(opener, *url, nullptr);
  };
}

}  // namespace lx
