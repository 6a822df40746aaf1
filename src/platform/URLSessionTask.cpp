#include "vantorcore/platform/URLSessionTask.h"

#include <filesystem>

#include "CurlLibrary.h"
#include "URLLoadingEngine.h"
#include "vantorcore/platform/URLError.h"
#include "vantorcore/platform/URLSession.h"

namespace lx {

LX_DEFINE_CLASS(URLSessionTask, Object)

URLSessionTask::URLSessionTask(std::shared_ptr<URLSession> session, URLRequest request,
                               std::uint64_t identifier, DataCompletion dataCompletion,
                               DownloadCompletion downloadCompletion)
    : session_(std::move(session)),
      request_(std::move(request)),
      identifier_(identifier),
      kind_(downloadCompletion ? Kind::Download : Kind::Data),
      dataCompletion_(std::move(dataCompletion)),
      downloadCompletion_(std::move(downloadCompletion)) {}

URLSessionTask::~URLSessionTask() = default;

std::shared_ptr<HTTPURLResponse> URLSessionTask::response() const {
  std::lock_guard lock(mutex_);
  return response_;
}

ErrorPtr URLSessionTask::error() const {
  std::lock_guard lock(mutex_);
  return error_;
}

void URLSessionTask::resume() {
  auto expected = URLSessionTaskState::Suspended;
  if (!state_.compare_exchange_strong(expected, URLSessionTaskState::Running)) return;
  auto self = std::static_pointer_cast<URLSessionTask>(shared_from_this());
  if (session_->isInvalidated()) {
    complete(std::nullopt, std::nullopt, nullptr,
             URLErrorWithCode(NSURLErrorCancelled, request_.URL()));
    return;
  }
  if (const auto& library = detail::curl().library; !library.isLoaded()) {
    complete(std::nullopt, std::nullopt, nullptr,
             URLErrorWithCode(NSURLErrorUnknown, request_.URL(), fromUTF8(library.error())));
    return;
  }
  detail::URLLoadingEngine::shared().start(std::move(self));
}

void URLSessionTask::cancel() {
  auto state = state_.load();
  while (state == URLSessionTaskState::Running || state == URLSessionTaskState::Suspended) {
    if (state_.compare_exchange_weak(state, URLSessionTaskState::Canceling)) {
      if (state == URLSessionTaskState::Suspended) {
        // Never handed to the engine: nobody else will complete it.
        complete(std::nullopt, std::nullopt, nullptr,
                 URLErrorWithCode(NSURLErrorCancelled, request_.URL()));
      } else {
        detail::URLLoadingEngine::shared().cancel(
            std::static_pointer_cast<URLSessionTask>(shared_from_this()));
      }
      return;
    }
  }
}

void URLSessionTask::noteProgress(std::int64_t received, std::int64_t expected) noexcept {
  received_.store(received);
  expected_.store(expected);
}

void URLSessionTask::complete(std::optional<Data> body, std::optional<URL> location,
                              std::shared_ptr<HTTPURLResponse> response, ErrorPtr error) {
  if (completed_.exchange(true)) return;
  {
    std::lock_guard lock(mutex_);
    response_ = response;
    error_ = error;
  }
  state_.store(URLSessionTaskState::Completed);
  auto self = std::static_pointer_cast<URLSessionTask>(shared_from_this());
  session_->delegateQueue()->async([self, body = std::move(body), location = std::move(location),
                                    response = std::move(response),
                                    error = std::move(error)]() mutable {
    if (self->kind_ == Kind::Download) {
      self->downloadCompletion_(location, std::move(response), std::move(error));
      if (location) {
        std::error_code ignored;
        std::filesystem::remove(toUTF8(location->path()), ignored);
      }
    } else if (self->dataCompletion_) {
      self->dataCompletion_(std::move(body), std::move(response), std::move(error));
    }
    // The handler may hold what holds the task; let go of it here.
    self->dataCompletion_ = nullptr;
    self->downloadCompletion_ = nullptr;
  });
}

}  // namespace lx
