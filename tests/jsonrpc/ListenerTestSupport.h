// Helpers for tests of JSON-RPC listeners: a listener whose transport is the
// test itself, and a delegate that records what it is told.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "vantorcore/jsonrpc/LXJSONRPCListener.h"

namespace lx::test {

/// The framed bytes of one message with `body` as its JSON body.
inline std::string frame(const std::string& body) {
  return "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

/// A notification frame whose method is `method`.
inline std::string notificationFrame(const std::string& method) {
  return frame(R"({"jsonrpc":"2.0","method":")" + method + R"("})");
}

/// A response frame for `id` with `result`.
inline std::string responseFrame(long long id, const std::string& result = "true") {
  return frame(R"({"jsonrpc":"2.0","id":)" + std::to_string(id) + R"(,"result":)" + result + "}");
}

/// A listener fed by the test through `feed`, recording what the base asks
/// of its transport: "data" for a read to CR LF, the byte count for a read
/// to a length, and every write.
class RecordingListener : public LXJSONRPCListener {
 public:
  using LXJSONRPCListener::didTerminateWithError;

  void feed(std::string_view bytes) { didReadData(Data(bytes.begin(), bytes.end())); }
  /// Waits until the work queue has done everything queued so far.
  void drain() {
    workQueue()->sync([] {});
  }

  std::vector<std::string> readRequests() const {
    std::lock_guard lock(mutex_);
    return reads_;
  }
  std::vector<std::string> writes() const {
    std::lock_guard lock(mutex_);
    return writes_;
  }
  int starts() const {
    std::lock_guard lock(mutex_);
    return starts_;
  }

 protected:
  void didStart() override {
    std::lock_guard lock(mutex_);
    ++starts_;
  }
  void readDataToLength(std::size_t length, double timeout) override {
    std::lock_guard lock(mutex_);
    reads_.push_back(std::to_string(length));
  }
  void readDataToData(const Data& data, double timeout) override {
    std::lock_guard lock(mutex_);
    reads_.push_back(data == Data{'\r', '\n'} ? "data" : "other delimiter");
  }
  bool writeData(const Data& data, ErrorPtr* error) override {
    std::lock_guard lock(mutex_);
    writes_.emplace_back(data.begin(), data.end());
    return true;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> reads_;
  std::vector<std::string> writes_;
  int starts_ = 0;
};

/// Records messages (by method, or "response <id>") and terminations.
class RecordingDelegate : public LXJSONRPCListenerDelegate {
 public:
  void didReceiveMessage(LXJSONRPCListener&,
                         const std::shared_ptr<LXJSONRPCMessage>& message) override {
    std::lock_guard lock(mutex_);
    messages_.push_back(message);
  }
  void didTerminateWithError(LXJSONRPCListener&, const ErrorPtr& error) override {
    std::lock_guard lock(mutex_);
    terminations_.push_back(error);
  }

  std::vector<std::shared_ptr<LXJSONRPCMessage>> messages() const {
    std::lock_guard lock(mutex_);
    return messages_;
  }
  /// Methods of the messages received, "-" for those without one.
  std::vector<std::string> methods() const {
    std::vector<std::string> result;
    for (const auto& m : messages()) result.push_back(m->method() ? toUTF8(*m->method()) : "-");
    return result;
  }
  std::vector<ErrorPtr> terminations() const {
    std::lock_guard lock(mutex_);
    return terminations_;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<std::shared_ptr<LXJSONRPCMessage>> messages_;
  std::vector<ErrorPtr> terminations_;
};

}  // namespace lx::test
