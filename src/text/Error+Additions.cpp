#include "vantorcore/platform/Log.h"
#include "vantorcore/text/Dictionary+Additions.h"
#include "vantorcore/text/Error+Additions.h"
#include "vantorcore/text/String+Trim.h"

namespace lx {

namespace {

// Association keys: only the addresses matter.
const char kCheckboxStateKey[] = "LXErrorAuxillaryCheckboxStateKey";
const char kCheckboxTitleKey[] = "LXErrorAuxillaryCheckboxTitleKey";

constexpr std::size_t kMaxMessageLength = 600;

}  // namespace

ErrorPtr lx_errorWithTitle(std::optional<StringView> title, std::optional<StringView> message,
                           std::optional<StringView> domain, std::int64_t code,
                           const std::optional<Dictionary>& userInfo) {
  if (!title) LXConditionFailed(u"title is nil");
  if (!domain) LXConditionFailed(u"error domain is nil");
  Dictionary presentable;
  if (title) presentable.set(NSLocalizedDescriptionKey, *title);
  presentable.set(NSLocalizedRecoverySuggestionErrorKey,
                  stringByReplacingOccurrences(message.value_or(u""), u"%", u"%%"));
  Dictionary info =
      userInfo ? lx_dictionaryByAddingEntriesFromDictionary(*userInfo, &presentable) : presentable;
  return Error::make(String(domain.value_or(u"")), code, std::move(info));
}

String lx_title(const Error& error) { return error.localizedDescription(); }

std::optional<String> lx_message(const Error& error) { return error.localizedRecoverySuggestion(); }

ErrorPtr lx_errorByTruncatingMessage(const ErrorPtr& error) {
  if (!error) return error;
  const std::optional<String> message = lx_message(*error);
  if (!message || message->size() <= kMaxMessageLength) return error;
  return lx_errorWithTitle(lx_title(*error),
                           lx_substringToIndex(*message, kMaxMessageLength) + u"…", error->domain(),
                           error->code(), error->userInfo());
}

ErrorPtr lx_errorByAddingUserInfoEntriesFromDictionary(const Error& error,
                                                       const Dictionary& entries) {
  return Error::make(error.domain(), error.code(),
                     lx_dictionaryByAddingEntriesFromDictionary(error.userInfo(), &entries));
}

std::optional<URL> lx_failingURL(const Error& error) {
  for (StringView key : {NSURLErrorFailingURLErrorKey, NSURLErrorFailingURLStringErrorKey}) {
    const Value* v = error.userInfo().find(key);
    if (!v || !v->isString()) continue;
    if (std::optional<URL> url = URL::URLWithString(*v->asString())) return url;
  }
  return std::nullopt;
}

void lx_setAuxillaryCheckboxState(Error& error, bool state) {
  error.setAssociatedValue(kCheckboxStateKey, Value(state));
}

bool lx_auxillaryCheckboxState(const Error& error) {
  const std::optional<Value> v = error.associatedValue(kCheckboxStateKey);
  return v && v->boolValue();
}

void lx_setAuxillaryCheckboxButtonTitle(Error& error, std::optional<StringView> title) {
  error.setAssociatedValue(kCheckboxTitleKey,
                           title ? std::optional<Value>(String(*title)) : std::nullopt);
}

std::optional<String> lx_auxillaryCheckboxButtonTitle(const Error& error) {
  const std::optional<Value> v = error.associatedValue(kCheckboxTitleKey);
  if (v && v->isString()) return *v->asString();
  return std::nullopt;
}

}  // namespace lx
