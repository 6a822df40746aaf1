// `URLSessionTask`: one transfer of a `URLSession` — a data task that
// collects the body in memory, or a download task that writes it to a file.
//
// A task is made suspended; `resume` starts it. Its completion handler is
// called exactly once, on the session's delegate queue: with the result, or
// with `NSURLErrorCancelled` after `cancel`. The state reads `Completed`
// before the handler runs. A running task is kept alive by the loading
// layer until it completes, so callers need not hold it. Thread-safe.
#pragma once

#include "vantorcore/Export.h"

#include <atomic>
#include <cstdint>
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

namespace LX_API lx {

class URLSession;

/// Task states, with the platform's values.
enum class URLSessionTaskState { Running = 0, Suspended = 1, Canceling = 2, Completed = 3 };

class URLSessionTask : public Object {
  LX_DECLARE_CLASS(URLSessionTask)
 public:
  /// A data task's handler: the body (absent on failure), the response
  /// (absent when none arrived) and the error (null on success; an HTTP
  /// status of 404 or 500 is a success).
  using DataCompletion = std::function<void(
      std::optional<Data> body, std::shared_ptr<HTTPURLResponse> response, ErrorPtr error)>;
  /// A download task's handler: the file holding the body (absent on
  /// failure), which is removed once the handler returns, so the handler
  /// moves it away to keep it; the response and the error as above.
  using DownloadCompletion = std::function<void(
      std::optional<URL> location, std::shared_ptr<HTTPURLResponse> response, ErrorPtr error)>;
  /// Whether the task keeps its body in memory or writes it to a file.
  enum class Kind { Data, Download };

  /// Made by `URLSession`; use its `dataTaskWithRequest`/`downloadTaskWithRequest`.
  URLSessionTask(std::shared_ptr<URLSession> session, URLRequest request, std::uint64_t identifier,
                 DataCompletion dataCompletion, DownloadCompletion downloadCompletion);
  ~URLSessionTask() override;

  /// Unique within the session.
  [[nodiscard]] std::uint64_t taskIdentifier() const noexcept { return identifier_; }
  /// A data or download task.
  [[nodiscard]] Kind kind() const noexcept {
    return downloadCompletion_ ? Kind::Download : Kind::Data;
  }
  /// The request the task was made with.
  [[nodiscard]] const URLRequest& originalRequest() const noexcept { return request_; }
  /// The session that made the task.
  [[nodiscard]] const std::shared_ptr<URLSession>& session() const noexcept { return session_; }
  /// Suspended, running, cancelling or completed.
  [[nodiscard]] URLSessionTaskState state() const noexcept { return state_.load(); }
  /// The response, once the task has completed with one; else null.
  [[nodiscard]] std::shared_ptr<HTTPURLResponse> response() const;
  /// The error the task completed with; null before completion or on success.
  [[nodiscard]] ErrorPtr error() const;
  /// Body bytes received so far (after decoding).
  [[nodiscard]] std::int64_t countOfBytesReceived() const noexcept { return received_.load(); }
  /// The body's announced length, or -1 while it is unknown.
  [[nodiscard]] std::int64_t countOfBytesExpectedToReceive() const noexcept {
    return expected_.load();
  }

  /// Starts a suspended task; does nothing otherwise.
  void resume();
  /// Stops the task: unless it has already completed, its handler gets
  /// `NSURLErrorCancelled` (once, as always). Later calls do nothing.
  void cancel();

  // Called by the loading layer (any thread).
  void noteProgress(std::int64_t received, std::int64_t expected) noexcept;
  /// Completes the task once; later calls are ignored. `location` is the
  /// download's file (a download task only).
  void complete(std::optional<Data> body, std::optional<URL> location,
                std::shared_ptr<HTTPURLResponse> response, ErrorPtr error);

 private:
  std::shared_ptr<URLSession> session_;
  URLRequest request_;
  std::uint64_t identifier_;
  Kind kind_;
  DataCompletion dataCompletion_;
  DownloadCompletion downloadCompletion_;
  std::atomic<URLSessionTaskState> state_{URLSessionTaskState::Suspended};
  std::atomic<bool> completed_{false};
  std::atomic<std::int64_t> received_{0};
  std::atomic<std::int64_t> expected_{-1};
  mutable std::mutex mutex_;
  std::shared_ptr<HTTPURLResponse> response_;
  ErrorPtr error_;
};

}  // namespace lx
