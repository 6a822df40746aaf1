#include "vantorcore/concurrency/LXAsyncBlockNSOperation.h"

namespace lx {

LX_DEFINE_CLASS(LXAsyncBlockNSOperation, Operation)

LXAsyncBlockNSOperation::LXAsyncBlockNSOperation(Block block) : block_(std::move(block)) {}

void LXAsyncBlockNSOperation::start() {
  if (isCancelled()) {
    finish();
    return;
  }
  willChangeValueForKey(u"isExecuting");
  executing_ = true;
  didChangeValueForKey(u"isExecuting");
  main();
}

void LXAsyncBlockNSOperation::main() {
  if (!block_) return;
  block_([self = sharedAs<LXAsyncBlockNSOperation>()] {
    if (self) self->finish();
  });
}

void LXAsyncBlockNSOperation::finish() {
  willChangeValueForKey(u"isExecuting");
  willChangeValueForKey(u"isFinished");
  executing_ = true;
  finished_ = true;
  didChangeValueForKey(u"isExecuting");
  didChangeValueForKey(u"isFinished");
}

}  // namespace lx
