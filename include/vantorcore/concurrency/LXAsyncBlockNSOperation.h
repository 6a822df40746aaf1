// `LXAsyncBlockNSOperation`: an operation that finishes only when its
// closure calls the completion it is given.
#pragma once

#include "vantorcore/Export.h"

#include <atomic>
#include <functional>

#include "vantorcore/platform/Operation.h"

namespace LX_API lx {

class LXAsyncBlockNSOperation : public Operation {
  LX_DECLARE_CLASS(LXAsyncBlockNSOperation)

 public:
  /// Receives the completion; the operation stays executing until it is
  /// called (from any thread, once).
  using Block = std::function<void(std::function<void()> completion)>;

  /// An operation that runs `block` and stays executing until the block calls its completion.
  explicit LXAsyncBlockNSOperation(Block block);

  /// State seen by the operation queue: asynchronous, executing until the block's completion runs,
  /// then finished.
  ///@{
  [[nodiscard]] bool isAsynchronous() const override { return true; }
  [[nodiscard]] bool isExecuting() const override { return executing_.load(); }
  [[nodiscard]] bool isFinished() const override { return finished_.load(); }
  ///@}

  /// A cancelled operation finishes without calling the closure; otherwise
  /// it announces and sets executing, then runs `main`.
  void start() override;
  /// Calls the closure with a completion that calls `finish`.
  void main() override;
  /// Announces "isExecuting" and "isFinished" and sets both to true:
  /// executing stays true after finishing, as the platform's clients of this
  /// class expect.
  void finish();

 private:
  Block block_;
  std::atomic<bool> executing_{false};
  std::atomic<bool> finished_{false};
};

}  // namespace lx
