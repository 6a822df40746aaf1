// `LXURLTask`: a synchronous HTTP request and a download to a file, each on
// the task object's own ephemeral URL session (handlers on the global
// default-priority queue; redirects are always followed).
//
// The class operations make a fresh task object per call; the instance
// operations (`send`, `download`) let a caller `cancel` from another thread.
// Destroying a task object cancels what it still runs.
#pragma once

#include "vantorcore/Export.h"

#include <functional>
#include <memory>
#include <mutex>
#include <optional>

#include "vantorcore/platform/Data.h"
#include "vantorcore/platform/Error.h"
#include "vantorcore/platform/HTTPURLResponse.h"
#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/URL.h"
#include "vantorcore/platform/URLRequest.h"
#include "vantorcore/platform/URLSession.h"

namespace LX_API lx {

class LXURLTask : public Object {
  LX_DECLARE_CLASS(LXURLTask)
 public:
  /// The download's handler: the error (the transport's, or the move's) and
  /// the file the body now lives in (absent on failure).
  using DownloadCompletionHandler =
      std::function<void(ErrorPtr error, std::optional<URL> destinationURL)>;

  LXURLTask();
  ~LXURLTask() override;

  /// `send` on a new task object.
  static std::optional<Data> sendSynchronousRequest(const URLRequest& request,
                                                    std::shared_ptr<HTTPURLResponse>* response,
                                                    ErrorPtr* error);
  /// `download` on a new task object, kept alive until its handler has run.
  static void downloadWithURL(const URL& url, const std::optional<URL>& destination,
                              DownloadCompletionHandler completionHandler);

  /// Runs `request` and returns its body (absent on failure), passing out
  /// the response and the error. Cancels what this object was running.
  /// While waiting, the calling thread's run loop runs (in its current
  /// mode, else the default mode) a second at a time, so the caller's
  /// timers and cross-thread calls go on; a thread whose loop has nothing
  /// to run sleeps on a semaphore instead of spinning.
  std::optional<Data> send(const URLRequest& request, std::shared_ptr<HTTPURLResponse>* response,
                           ErrorPtr* error);
  /// Downloads `url` into `destination` (a file URL), or, when absent, into
  /// a file named by a fresh UUID in the temporary-items folder. Returns at
  /// once; the handler runs on the global queue. When the download fails or
  /// the file cannot be moved there (an item already stands there, the
  /// folder is missing), whatever is at the destination is removed and the
  /// handler gets no URL.
  void download(const URL& url, const std::optional<URL>& destination,
                DownloadCompletionHandler completionHandler);
  /// Cancels the running request or download (its handler gets
  /// `NSURLErrorCancelled`).
  void cancel();
  /// The destination of the last download: set when it starts, absent
  /// after a failure.
  [[nodiscard]] std::optional<URL> destinationURL() const;

 private:
  void setCurrentTask(std::shared_ptr<URLSessionTask> task);
  /// Forgets the current task once it has completed.
  void clearCompletedTask();

  std::shared_ptr<URLSession> session_;
  mutable std::mutex mutex_;
  std::shared_ptr<URLSessionTask> currentTask_;
  std::optional<URL> destinationURL_;
};

}  // namespace lx
