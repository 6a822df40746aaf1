// Helpers for tests of JSON-RPC listeners: frames, a listener whose transport
// is the test itself, and recorders for what delegates and reply closures hear.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <type_traits>
#include <vector>

#include "vantorcore/jsonrpc/LXJSONRPCListener.h"
#include "vantorcore/platform/Exception.h"

namespace lx::test {

inline std::string frame(const std::string& body) {
  return "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}
inline std::string notificationFrame(const std::string& method) {
  return frame(R"({"jsonrpc":"2.0","method":")" + method + R"("})");
}
inline std::string responseFrame(long long id, const std::string& result = "true") {
  return frame(R"({"jsonrpc":"2.0","id":)" + std::to_string(id) + R"(,"result":)" + result + "}");
}
inline std::shared_ptr<LXJSONRPCMessage> request(long long id) {
  return LXJSONRPCMessage::requestWithMessageID(Value(id), u"ask");
}

/// Runs `f`, expecting an `InvalidArgumentException` with `reason`.
inline void expectInvalidArgument(const std::function<void()>& f, const String& reason) {
  try {
    f();
    ADD_FAILURE() << "no exception";
  } catch (const InvalidArgumentException& e) {
    EXPECT_EQ(e.reason(), reason);
  }
}

/// A value written on one thread and read on another.
template <class T>
class Guarded {
 public:
  template <class F>
  auto with(F f) {
    std::lock_guard lock(mutex_);
    return f(value_);
  }
  T get() {
    return with([](T& value) { return value; });
  }
  template <class Item>
  void append(Item&& item) {
    with([&](T& value) { value.push_back(std::forward<Item>(item)); });
  }

 private:
  std::mutex mutex_;
  T value_{};
};

/// A listener fed through `feed` that records in `events` what the base asks
/// of its transport: "start", "data" (read to CR LF), a byte count (read to a
/// length) and "write".
class RecordingListener : public LXJSONRPCListener {
 public:
  using LXJSONRPCListener::didTerminateWithError;
  void feed(std::string_view bytes) { didReadData(Data(bytes.begin(), bytes.end())); }
  /// Waits until the work queue has done everything queued so far.
  void drain() {
    workQueue()->sync([] {});
  }
  Guarded<std::vector<std::string>> events;

 protected:
  void didStart() override { events.append("start"); }
  void readDataToLength(std::size_t length, double) override {
    events.append(std::to_string(length));
  }
  void readDataToData(const Data& data, double) override {
    events.append(data == Data{'\r', '\n'} ? "data" : "other");
  }
  bool writeData(const Data&, ErrorPtr*) override {
    events.append("write");
    return true;
  }
};

class RecordingDelegate : public LXJSONRPCListenerDelegate {
 public:
  void didReceiveMessage(LXJSONRPCListener&, const std::shared_ptr<LXJSONRPCMessage>& m) override {
    messages.append(m);
  }
  void didTerminateWithError(LXJSONRPCListener&, const ErrorPtr& error) override {
    terminations.append(error);
  }
  /// Methods of the messages received, "-" for those without one.
  std::vector<std::string> methods() {
    std::vector<std::string> result;
    for (const auto& m : messages.get()) result.push_back(m->method() ? toUTF8(*m->method()) : "-");
    return result;
  }
  Guarded<std::vector<std::shared_ptr<LXJSONRPCMessage>>> messages;
  Guarded<std::vector<ErrorPtr>> terminations;
};

/// The outcomes reply closures were called with, by request id.
struct Replies {
  using Outcome = std::pair<std::shared_ptr<LXJSONRPCMessage>, ErrorPtr>;
  LXJSONRPCListener::ReplyHandler handler(long long id) {
    return [this, id](std::shared_ptr<LXJSONRPCMessage> response, ErrorPtr error) {
      calls.with([&](auto& calls) { calls[id].emplace_back(response, error); });
    };
  }
  std::size_t count(long long id) { return calls.get()[id].size(); }
  /// The one outcome of request `id`; a failure if there is not exactly one.
  Outcome only(long long id) {
    auto outcomes = calls.get()[id];
    EXPECT_EQ(outcomes.size(), 1u) << "request " << id;
    return outcomes.empty() ? Outcome{} : outcomes.front();
  }
  Guarded<std::map<long long, std::vector<Outcome>>> calls;
};

/// A started listener telling its recorders on a serial queue of its own; on
/// the way out the listener stops before the recorders go.
template <class Listener = RecordingListener>
struct Conversation {
  explicit Conversation(std::shared_ptr<Listener> started, std::size_t maximumMessageSize = 0)
      : listener(std::move(started)) {
    if (maximumMessageSize) listener->setMaximumMessageSize(maximumMessageSize);
    listener->setDelegate(delegate);
    listener->setDelegateQueue(DispatchQueue::makeSerial(u"test.delegate"));
    listener->start();
  }
  ~Conversation() {
    listener->stop();
    if constexpr (std::is_same_v<Listener, RecordingListener>) settle();
  }
  /// Everything queued so far has run, on the work queue, then the delegate queue.
  void settle() {
    listener->drain();
    listener->delegateQueue()->sync([] {});
  }
  Replies replies;
  std::shared_ptr<RecordingDelegate> delegate = std::make_shared<RecordingDelegate>();
  std::shared_ptr<Listener> listener;
};

}  // namespace lx::test
