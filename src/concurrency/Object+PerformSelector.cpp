#include "vantorcore/concurrency/LXInvocation.h"
#include "vantorcore/concurrency/Object+PerformSelector.h"

namespace lx {

namespace {
Array oneArgument(const Value& object) { return object.isNull() ? Array{} : Array{object}; }

const RunLoopModes& defaultModeOnly() {
  static const auto* modes = new RunLoopModes{String(DefaultRunLoopMode)};
  return *modes;
}

// Calls the method if the receiver has it; absent otherwise.
std::optional<Value> callIfPresent(Object& receiver, std::string_view selector, Array arguments) {
  const Class::Method* method = receiver.objectClass().methodNamed(selector);
  if (!method) return std::nullopt;
  return (*method)(receiver, arguments);
}
}  // namespace

Value lx_performSelector(const std::shared_ptr<Object>& receiver, std::string_view selector,
                         const std::shared_ptr<Thread>& thread, const Array& arguments, bool wait,
                         const RunLoopModes& modes) {
  auto invocation = LXInvocation::make(receiver, std::string(selector));
  if (!invocation) return {};
  for (std::size_t i = 0; i < arguments.size(); ++i) invocation->setArgument(arguments[i], i + 2);
  if (Thread::current() == thread) {
    invocation->invoke();
    return invocation->threadSafeReturnObject();
  }
  if (!Thread::perform(
          thread, [invocation] { invocation->invoke(); }, wait, modes) ||
      !wait) {
    return {};
  }
  return invocation->threadSafeReturnObject();
}

Value lx_performSelector(const std::shared_ptr<Object>& receiver, std::string_view selector,
                         const std::shared_ptr<Thread>& thread, const Value& object, bool wait) {
  return lx_performSelector(receiver, selector, thread, oneArgument(object), wait,
                            commonRunLoopModes());
}

Value lx_performSelector(const std::shared_ptr<Object>& receiver, std::string_view selector,
                         const Array& arguments) {
  return lx_performSelectorOnMainThread(receiver, selector, arguments, true);
}

Value lx_performSelectorOnMainThread(const std::shared_ptr<Object>& receiver,
                                     std::string_view selector, const Array& arguments, bool wait,
                                     const RunLoopModes& modes) {
  return lx_performSelector(receiver, selector, Thread::main(), arguments, wait, modes);
}

Value lx_performSelectorOnMainThread(const std::shared_ptr<Object>& receiver,
                                     std::string_view selector, const Array& arguments, bool wait) {
  return lx_performSelectorOnMainThread(receiver, selector, arguments, wait, defaultModeOnly());
}

Value lx_performSelectorOnMainThread(const std::shared_ptr<Object>& receiver,
                                     std::string_view selector, const Value& object, bool wait) {
  return lx_performSelectorOnMainThread(receiver, selector, oneArgument(object), wait);
}

void lx_performOptionalSelector(Object& receiver, std::string_view selector) {
  callIfPresent(receiver, selector, {});
}

void lx_performOptionalSelector(Object& receiver, std::string_view selector, const Value& object) {
  callIfPresent(receiver, selector, {object});
}

bool lx_performOptionalSelectorWithBOOLReturn(Object& receiver, std::string_view selector) {
  auto result = callIfPresent(receiver, selector, {});
  return result && result->boolValue();
}

std::int64_t lx_performOptionalSelectorWithIntegerReturn(Object& receiver,
                                                         std::string_view selector) {
  auto result = callIfPresent(receiver, selector, {});
  return result ? result->int64Value() : 0;
}

double lx_performOptionalSelectorWithCGFloatReturn(Object& receiver, std::string_view selector) {
  auto result = callIfPresent(receiver, selector, {});
  return result ? result->doubleValue() : 0.0;
}

Value lx_performOptionalSelectorWithObjectReturn(Object& receiver, std::string_view selector) {
  return callIfPresent(receiver, selector, {}).value_or(Value());
}

Value lx_performOptionalSelectorWithObjectReturn(Object& receiver, std::string_view selector,
                                                 const Value& object) {
  return callIfPresent(receiver, selector, {object}).value_or(Value());
}

}  // namespace lx
