// `LXInvocation`: a call of a method by name (target, selector, arguments)
// that can be made on another thread and keeps the result for the caller.
#pragma once

#include "vantorcore/Export.h"

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/Value.h"

namespace LX_API lx {

class LXInvocation : public Object {
  LX_DECLARE_CLASS(LXInvocation)

 public:
  /// A call of the method named `selector` on `target` (held strongly), with
  /// as many null arguments as the selector has colons. Null when the target
  /// is null or has no such method.
  static std::shared_ptr<LXInvocation> make(std::shared_ptr<Object> target, std::string selector);

  /// A call of `selector` on `target` taking `argumentCount` arguments, all null until set.
  LXInvocation(std::shared_ptr<Object> target, std::string selector, std::size_t argumentCount);

  /// The receiver (held strongly) and the method name.
  ///@{
  [[nodiscard]] const std::shared_ptr<Object>& target() const noexcept { return target_; }
  [[nodiscard]] const std::string& selector() const noexcept { return selector_; }
  ///@}
  /// Arguments by position as the platform counts them: 0 is the target, 1
  /// the selector, so the method's first argument is index 2. Setting an
  /// index outside the method's arguments is ignored.
  void setArgument(Value argument, std::size_t index);
  /// The argument at `index`; null when unset or out of range.
  [[nodiscard]] Value argument(std::size_t index) const;
  /// The number of arguments the method takes.
  [[nodiscard]] std::size_t argumentCount() const noexcept { return argumentCount_; }

  /// Calls the method and keeps its result for `threadSafeReturnObject`.
  void invoke();
  /// The result of the last `invoke` (null before); readable from any thread.
  [[nodiscard]] Value threadSafeReturnObject() const;

 private:
  std::shared_ptr<Object> target_;
  std::string selector_;
  std::size_t argumentCount_;
  mutable std::mutex mutex_;
  std::vector<Value> arguments_;
  Value returnObject_;
};

}  // namespace lx
