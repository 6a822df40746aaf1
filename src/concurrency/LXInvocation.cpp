#include "vantorcore/concurrency/LXInvocation.h"

#include <algorithm>

namespace lx {

LX_DEFINE_CLASS(LXInvocation, Object)

std::shared_ptr<LXInvocation> LXInvocation::make(std::shared_ptr<Object> target,
                                                 std::string selector) {
  if (!target || !target->respondsToSelector(selector)) return nullptr;
  // A selector names one argument per colon ("timerFired:" takes one).
  auto count = static_cast<std::size_t>(std::count(selector.begin(), selector.end(), ':'));
  return std::make_shared<LXInvocation>(std::move(target), std::move(selector), count);
}

LXInvocation::LXInvocation(std::shared_ptr<Object> target, std::string selector,
                           std::size_t argumentCount)
    : target_(std::move(target)),
      selector_(std::move(selector)),
      argumentCount_(argumentCount),
      arguments_(argumentCount) {}

void LXInvocation::setArgument(Value argument, std::size_t index) {
  std::lock_guard lock(mutex_);
  if (index < 2 || index - 2 >= arguments_.size()) return;
  arguments_[index - 2] = std::move(argument);
}

Value LXInvocation::argument(std::size_t index) const {
  std::lock_guard lock(mutex_);
  if (index < 2 || index - 2 >= arguments_.size()) return {};
  return arguments_[index - 2];
}

void LXInvocation::invoke() {
  const Class::Method* method = target_->objectClass().methodNamed(selector_);
  if (!method) return;
  std::vector<Value> arguments;
  {
    std::lock_guard lock(mutex_);
    arguments = arguments_;
  }
  Value result = (*method)(*target_, arguments);
  std::lock_guard lock(mutex_);
  returnObject_ = std::move(result);
}

Value LXInvocation::threadSafeReturnObject() const {
  std::lock_guard lock(mutex_);
  return returnObject_;
}

}  // namespace lx
