#include "vantorcore/archiving/Responder+LXStateRestoration.h"

namespace lx {

namespace {

// The attachment keys are these arrays' addresses; their text names them in
// a debugger.
constexpr char kRestorationIdentifierKey[] = "LXRestorationIdentifier";
constexpr char kObjectRestorationClassKey[] = "LXObjectRestorationClass";
constexpr std::string_view kInvalidateSelector = "lx_invalidateRestorableState";

}  // namespace

std::optional<String> restorationIdentifier(const Responder& responder) {
  const std::optional<Value> value = responder.associatedValue(kRestorationIdentifierKey);
  if (value && value->isString()) return value->asString()->str();
  return std::nullopt;
}

void setRestorationIdentifier(Responder& responder, std::optional<String> identifier) {
  std::optional<Value> value;
  if (identifier) value = Value(std::move(*identifier));
  responder.setAssociatedValue(kRestorationIdentifierKey, std::move(value));
}

const Class* objectRestorationClass(const Responder& responder) {
  // Classes are registered once and live as long as the process, so their
  // name stands for them.
  const std::optional<Value> value = responder.associatedValue(kObjectRestorationClassKey);
  if (!value || !value->isString()) return nullptr;
  return ClassRegistry::classNamed(*value->asString());
}

void setObjectRestorationClass(Responder& responder, const Class* cls) {
  std::optional<Value> value;
  if (cls) value = Value(cls->name());
  responder.setAssociatedValue(kObjectRestorationClassKey, std::move(value));
}

void lx_invalidateRestorableState(Responder& responder) {
  // A loop rather than recursion: chains may be as long as a caller likes.
  std::shared_ptr<Responder> next;
  for (Responder* current = &responder; current; current = next.get()) {
    if (current->respondsToSelector(kInvalidateSelector)) {
      current->performSelector(kInvalidateSelector);
      return;
    }
    next = current->nextResponder();
  }
}

}  // namespace lx
