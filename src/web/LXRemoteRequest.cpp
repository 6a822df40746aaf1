#include "vantorcore/web/LXRemoteRequest.h"

#include "vantorcore/platform/JSON.h"
#include "vantorcore/platform/Log.h"
#include "vantorcore/platform/URLError.h"
#include "vantorcore/platform/URLSession.h"

namespace lx {

LX_DEFINE_CLASS(LXRemoteRequest, Object)

namespace {

// The announcement service answers quickly or not at all.
constexpr double kRequestTimeout = 60;

}  // namespace

std::shared_ptr<LXRemoteRequest> LXRemoteRequest::initWithURLString(
    StringView string, std::weak_ptr<LXRemoteRequestDelegate> delegate) {
  return initWithURLString(string, u"GET", std::nullopt, std::move(delegate));
}

std::shared_ptr<LXRemoteRequest> LXRemoteRequest::initWithURLString(
    StringView string, StringView HTTPMethod, std::optional<Data> body,
    std::weak_ptr<LXRemoteRequestDelegate> delegate) {
  return initWithURL(URL::URLWithString(string), HTTPMethod, std::move(body), std::move(delegate));
}

std::shared_ptr<LXRemoteRequest> LXRemoteRequest::initWithURL(
    const std::optional<URL>& url, std::weak_ptr<LXRemoteRequestDelegate> delegate) {
  return initWithURL(url, u"GET", std::nullopt, std::move(delegate));
}

std::shared_ptr<LXRemoteRequest> LXRemoteRequest::initWithURL(
    const std::optional<URL>& url, StringView HTTPMethod, std::optional<Data> body,
    std::weak_ptr<LXRemoteRequestDelegate> delegate) {
  return initWithURL(url, HTTPMethod, std::move(body), Dictionary(), std::move(delegate));
}

std::shared_ptr<LXRemoteRequest> LXRemoteRequest::initWithURL(
    const std::optional<URL>& url, StringView HTTPMethod, std::optional<Data> body,
    const Dictionary& headers, std::weak_ptr<LXRemoteRequestDelegate> delegate) {
  auto request = std::make_shared<LXRemoteRequest>();
  request->delegate_ = std::move(delegate);
  std::weak_ptr<LXRemoteRequest> weak = request;
  request->start(url, HTTPMethod, std::move(body), headers,
                 [weak](std::optional<Data> data, auto, ErrorPtr error) {
                   const auto self = weak.lock();
                   if (!self) return;  // destroyed, hence cancelled: nobody to tell
                   {
                     std::lock_guard lock(self->mutex_);
                     self->responseData_ = data ? std::move(*data) : Data();
                   }
                   DispatchQueue::main()->async([weak, error] {
                     if (const auto request = weak.lock()) request->callbackWithError(error);
                   });
                 });
  if (!request->sessionTask_) request->callbackWithError(URLErrorWithCode(NSURLErrorBadURL, url));
  return request;
}

std::shared_ptr<LXRemoteRequest> LXRemoteRequest::initWithURL(const std::optional<URL>& url,
                                                              StringView HTTPMethod,
                                                              std::optional<Data> body,
                                                              const Dictionary& headers,
                                                              CompletionHandler completionHandler) {
  auto request = std::make_shared<LXRemoteRequest>();
  request->start(url, HTTPMethod, std::move(body), headers, std::move(completionHandler));
  return request;
}

void LXRemoteRequest::start(const std::optional<URL>& url, StringView HTTPMethod,
                            std::optional<Data> body, const Dictionary& headers,
                            CompletionHandler completionHandler) {
  if (!url) {
    LXConditionFailed(u"Requset is nil");
    return;
  }
  URLRequest request(*url, URLRequestCachePolicy::ReloadIgnoringLocalCacheData, kRequestTimeout);
  request.setHTTPMethod(HTTPMethod);
  request.setHTTPBody(std::move(body));
  for (const auto& [field, value] : headers) {
    if (value.isString()) request.setValue(value.asString()->str(), field.str());
  }
  std::weak_ptr<LXRemoteRequest> weak =
      std::static_pointer_cast<LXRemoteRequest>(shared_from_this());
  sessionTask_ = URLSession::sharedSession()->dataTaskWithRequest(
      std::move(request), [weak, completionHandler = std::move(completionHandler)](
                              std::optional<Data> data, auto response, ErrorPtr error) {
        const auto self = weak.lock();
        const auto queue = self ? self->handlerQueue() : nullptr;
        if (queue) {
          queue->async([completionHandler, data = std::move(data), response, error]() mutable {
            completionHandler(std::move(data), response, error);
          });
        } else {
          completionHandler(std::move(data), std::move(response), std::move(error));
        }
      });
  sessionTask_->resume();
}

LXRemoteRequest::~LXRemoteRequest() { cancel(); }

void LXRemoteRequest::cancel() {
  if (isFinished() || cancelled_.exchange(true)) return;
  if (sessionTask_) sessionTask_->cancel();
}

bool LXRemoteRequest::isFinished() const {
  return sessionTask_ && sessionTask_->state() == URLSessionTaskState::Completed;
}

Data LXRemoteRequest::responseData() const {
  std::lock_guard lock(mutex_);
  return responseData_;
}

std::optional<Value> LXRemoteRequest::jsonResponse() const {
  const Data data = responseData();
  if (data.empty()) return std::nullopt;
  return JSONSerialization::JSONObjectWithData(data);
}

std::shared_ptr<DispatchQueue> LXRemoteRequest::handlerQueue() const {
  std::lock_guard lock(mutex_);
  return handlerQueue_;
}

void LXRemoteRequest::setHandlerQueue(std::shared_ptr<DispatchQueue> queue) {
  std::lock_guard lock(mutex_);
  handlerQueue_ = std::move(queue);
}

void LXRemoteRequest::callbackWithError(ErrorPtr error) {
  if (const auto delegate = delegate_.lock()) {
    delegate->remoteRequestDidFinishWithError(*this, std::move(error));
  }
}

}  // namespace lx
