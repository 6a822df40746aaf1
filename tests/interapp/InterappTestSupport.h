// A URL opener that only records what it was asked to open, for the tests of
// interapplication replies.
#pragma once

#include <mutex>
#include <vector>

#include "vantorcore/platform/URLOpener.h"

namespace lx::test {

class RecordingURLOpener : public URLOpener {
 public:
  bool openURL(const URL& url, ErrorPtr* error) override {
    const std::lock_guard lock(mutex_);
    opened_.push_back(toUTF8(url.absoluteString()));
    if (failure_) setError(error, failure_);
    return !failure_;
  }
  /// Makes every later call fail with `error` (null: succeed again).
  void failWith(ErrorPtr error) { failure_ = std::move(error); }
  std::vector<std::string> opened() const {
    const std::lock_guard lock(mutex_);
    return opened_;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> opened_;
  ErrorPtr failure_;
};

}  // namespace lx::test
