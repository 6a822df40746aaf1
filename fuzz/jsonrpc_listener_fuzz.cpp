// Feeds arbitrary bytes to a JSON-RPC listener in chunks whose sizes come
// from the input itself, with two requests pending, then stops it. For any
// input: no crash, hang or leak, and each reply closure is called exactly
// once (by a matching response or by the stop).
#include <atomic>
#include <cstdint>
#include <cstdlib>

#include "vantorcore/jsonrpc/LXJSONRPCListener.h"
#include "vantorcore/platform/Log.h"

namespace {

class FuzzListener : public lx::LXJSONRPCListener {
 public:
  void feed(const std::uint8_t* bytes, std::size_t size) {
    didReadData(lx::Data(bytes, bytes + size));
  }
  void drain() {
    workQueue()->sync([] {});
  }

 protected:
  bool writeData(const lx::Data&, lx::ErrorPtr*) override { return true; }
};

class Delegate : public lx::LXJSONRPCListenerDelegate {
 public:
  void didReceiveMessage(lx::LXJSONRPCListener&,
                         const std::shared_ptr<lx::LXJSONRPCMessage>& message) override {
    if (!message) std::abort();
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static const auto quiet = (lx::setLogSink(lx::discardLogLines()), 0);
  static const auto delegateQueue = lx::DispatchQueue::makeSerial(u"fuzz.delegate");
  (void)quiet;
  if (size == 0) return 0;

  auto listener = std::make_shared<FuzzListener>();
  auto delegate = std::make_shared<Delegate>();
  listener->setDelegate(delegate);
  listener->setDelegateQueue(delegateQueue);
  listener->setMaximumMessageSize(16 * 1024);
  listener->start();
  std::atomic<int> replies[2] = {0, 0};
  for (int id = 0; id < 2; ++id) {
    listener->sendRequest(lx::LXJSONRPCMessage::requestWithMessageID(lx::Value(id + 1), u"m"),
                          [&replies, id](auto, auto) { ++replies[id]; });
  }

  // The first byte seeds the chunk sizes (1 to 64 bytes each).
  std::uint32_t state = bytes[0] * 2654435761u + 1;
  for (std::size_t at = 1; at < size;) {
    state = state * 1664525u + 1013904223u;
    std::size_t length = std::min<std::size_t>(1 + (state >> 26), size - at);
    listener->feed(bytes + at, length);
    at += length;
  }
  listener->stop();
  listener->drain();
  delegateQueue->sync([] {});
  for (const auto& count : replies) {
    if (count != 1) std::abort();
  }
  return 0;
}
