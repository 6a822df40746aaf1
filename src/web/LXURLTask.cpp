#include "vantorcore/web/LXURLTask.h"

#include <chrono>
#include <semaphore>

#include "vantorcore/files/FileManager+Folders.h"
#include "vantorcore/platform/FileManager.h"
#include "vantorcore/platform/RunLoop.h"
#include "vantorcore/text/LXUUID.h"

namespace lx {

LX_DEFINE_CLASS(LXURLTask, Object)

namespace {

// How long the waiting thread's run loop runs before it looks again.
constexpr double kRunLoopSlice = 1.0;

// What the synchronous request's completion hands to the waiting thread.
struct SynchronousResult {
  std::binary_semaphore done{0};
  std::optional<Data> body;
  std::shared_ptr<HTTPURLResponse> response;
  ErrorPtr error;
};

}  // namespace

LXURLTask::LXURLTask()
    : session_(URLSession::sessionWithConfiguration(
          URLSessionConfiguration::ephemeralSessionConfiguration(), DispatchQueue::global())) {}

LXURLTask::~LXURLTask() { session_->invalidateAndCancel(); }

std::optional<Data> LXURLTask::sendSynchronousRequest(const URLRequest& request,
                                                      std::shared_ptr<HTTPURLResponse>* response,
                                                      ErrorPtr* error) {
  return std::make_shared<LXURLTask>()->send(request, response, error);
}

void LXURLTask::downloadWithURL(const URL& url, const std::optional<URL>& destination,
                                DownloadCompletionHandler completionHandler) {
  auto task = std::make_shared<LXURLTask>();
  task->download(url, destination,
                 [task, completionHandler = std::move(completionHandler)](
                     ErrorPtr error, std::optional<URL> destinationURL) {
                   if (completionHandler)
                     completionHandler(std::move(error), std::move(destinationURL));
                 });
}

void LXURLTask::setCurrentTask(std::shared_ptr<URLSessionTask> task) {
  std::shared_ptr<URLSessionTask> previous;
  {
    std::lock_guard lock(mutex_);
    previous = std::exchange(currentTask_, std::move(task));
  }
  if (previous) previous->cancel();
}

void LXURLTask::clearCompletedTask() {
  std::lock_guard lock(mutex_);
  if (currentTask_ && currentTask_->state() == URLSessionTaskState::Completed) currentTask_.reset();
}

std::optional<Data> LXURLTask::send(const URLRequest& request,
                                    std::shared_ptr<HTTPURLResponse>* response, ErrorPtr* error) {
  setCurrentTask(nullptr);
  auto result = std::make_shared<SynchronousResult>();
  const auto loop = RunLoop::current();
  const String mode = loop->currentMode().value_or(String(DefaultRunLoopMode));
  std::weak_ptr<LXURLTask> weak = std::static_pointer_cast<LXURLTask>(shared_from_this());
  auto task = session_->dataTaskWithRequest(
      request, [result, loop, mode, weak](std::optional<Data> body, auto reply, ErrorPtr failure) {
        result->body = std::move(body);
        result->response = std::move(reply);
        result->error = std::move(failure);
        if (const auto self = weak.lock()) self->clearCompletedTask();
        result->done.release();
        loop->perform([] {}, {mode});  // ends the waiting run-loop pass
      });
  {
    std::lock_guard lock(mutex_);
    currentTask_ = task;
  }
  task->resume();
  for (;;) {
    if (result->done.try_acquire()) break;
    if (!loop->runMode(mode, Date::now().addingTimeInterval(kRunLoopSlice)) &&
        result->done.try_acquire_for(std::chrono::duration<double>(kRunLoopSlice))) {
      break;  // nothing to run here: sleep on the semaphore rather than spin
    }
  }
  setError(error, result->error);
  if (response) *response = result->response;
  clearCompletedTask();
  return std::move(result->body);
}

void LXURLTask::download(const URL& url, const std::optional<URL>& destination,
                         DownloadCompletionHandler completionHandler) {
  URL target = destination ? *destination : [] {
    const auto folder = lx_temporaryItemsFolder(*FileManager::defaultManager(), true);
    return URL::fileURLWithPath(folder.value_or(u"/tmp") + u"/" + LXUUID::UUID()->stringValue());
  }();
  {
    std::lock_guard lock(mutex_);
    destinationURL_ = target;
  }
  setCurrentTask(nullptr);
  std::weak_ptr<LXURLTask> weak = std::static_pointer_cast<LXURLTask>(shared_from_this());
  auto task = session_->downloadTaskWithURL(
      url, [weak, target, completionHandler = std::move(completionHandler)](
               std::optional<URL> location, auto, ErrorPtr error) {
        const auto self = weak.lock();
        const auto manager = FileManager::defaultManager();
        bool moved = false;
        if (location) {
          ErrorPtr moveError;
          moved = manager->moveItemAtPath(location->path(), target.path(), &moveError);
          if (!moved) error = moveError;
        }
        std::optional<URL> destinationURL = target;
        if (!moved) {
          // What stood there is gone too, as the operation documents.
          manager->removeItemAtPath(target.path());
          destinationURL.reset();
        }
        if (self) {
          {
            std::lock_guard lock(self->mutex_);
            self->destinationURL_ = destinationURL;
          }
          self->clearCompletedTask();
        }
        if (completionHandler) completionHandler(std::move(error), std::move(destinationURL));
      });
  {
    std::lock_guard lock(mutex_);
    currentTask_ = task;
  }
  task->resume();
}

void LXURLTask::cancel() {
  std::shared_ptr<URLSessionTask> task;
  {
    std::lock_guard lock(mutex_);
    task = currentTask_;
  }
  if (task) task->cancel();
}

std::optional<URL> LXURLTask::destinationURL() const {
  std::lock_guard lock(mutex_);
  return destinationURL_;
}

}  // namespace lx
