#include "URLTransfer.h"

#include <fcntl.h>
#include <openssl/x509_vfy.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <tuple>

#include "ASCIICase.h"
#include "CurlLibrary.h"
#include "ValueDocument.h"
#include "vantorcore/platform/ProcessInfo.h"
#include "vantorcore/platform/URLError.h"
#include "vantorcore/platform/URLSession.h"

namespace lx::detail {

namespace {

// Large reads and writes for downloads: fewer calls per gigabyte.
constexpr long kDownloadReceiveBufferSize = 512L * 1024;  // libcurl's maximum
// Whole, page-aligned writes of this size: measured faster on ext4 than
// writing curl's pieces straight from its buffer, which saves a copy but
// pays each write's fixed cost (journal, locks, dirty-page accounting)
// many times over.
constexpr std::size_t kFileBufferSize = 1 << 20;
// A body announced larger than this grows as it comes: a lying
// "Content-Length" must not reserve more.
constexpr curl_off_t kLargestReservedBody = 1LL << 30;
// Enough for every connection the engine keeps, with room to spare.
constexpr std::size_t kPooledHandles = 64;

bool isHTTPScheme(const std::optional<String>& scheme) {
  if (!scheme) return false;
  const String lower = asciiLowercase(*scheme);
  return lower == u"http" || lower == u"https";
}

std::string trimmed(std::string_view text) {
  const auto isSpace = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
  while (!text.empty() && isSpace(text.front())) text.remove_prefix(1);
  while (!text.empty() && isSpace(text.back())) text.remove_suffix(1);
  return std::string(text);
}

std::int64_t verifyResultCode(long verifyResult) {
  switch (verifyResult) {
    case X509_V_ERR_CERT_HAS_EXPIRED:
      return NSURLErrorServerCertificateHasBadDate;
    case X509_V_ERR_CERT_NOT_YET_VALID:
      return NSURLErrorServerCertificateNotYetValid;
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
    case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
      return NSURLErrorServerCertificateHasUnknownRoot;
    default:
      return NSURLErrorServerCertificateUntrusted;  // a self-signed leaf, a wrong host
  }
}

// The agent curl would name, built once: curl_version() formats its text
// on every call.
const std::string& defaultUserAgent() {
  static const std::string agent =
      toUTF8(ProcessInfo::processName()) + " VantorCore " + curl().version();
  return agent;
}

std::string temporaryFolder() {
  const char* folder = getenv("TMPDIR");
  return folder && *folder ? folder : "/tmp";
}

}  // namespace

EasyHandlePool::~EasyHandlePool() {
  for (CURL* easy : idle_) curl().easy_cleanup(easy);
}

CURL* EasyHandlePool::take() {
  if (idle_.empty()) return curl().easy_init();
  CURL* easy = idle_.back();
  idle_.pop_back();
  return easy;
}

void EasyHandlePool::give(CURL* easy) {
  if (!easy) return;
  if (idle_.size() >= kPooledHandles) {
    curl().easy_cleanup(easy);
    return;
  }
  curl().easy_reset(easy);
  idle_.push_back(easy);
}

URLTransfer::URLTransfer(std::shared_ptr<URLSessionTask> task, URLRequest request, int redirects,
                         EasyHandlePool& handles)
    : task_(std::move(task)),
      request_(std::move(request)),
      redirects_(redirects),
      handles_(&handles) {
  const URL& url = request_.URL();
  if (!isHTTPScheme(url.scheme())) {
    setupError_ = URLErrorWithCode(NSURLErrorUnsupportedURL, url);
    return;
  }
  if (!url.host() || url.host()->empty()) {
    setupError_ = URLErrorWithCode(NSURLErrorBadURL, url);
    return;
  }
  const String scheme = asciiLowercase(*url.scheme());
  const int port = url.port().value_or(scheme == u"https" ? 443 : 80);
  hostKey_ = toUTF8(scheme + u"://" + asciiLowercase(*url.host())) + ":" + std::to_string(port);
}

URLTransfer::~URLTransfer() {
  discardDownloadFile();
  handles_->give(easy_);
  curl().slist_free_all(headerList_);
}

bool URLTransfer::begin() {
  if (task_->kind() == URLSessionTask::Kind::Download && !openDownloadFile()) {
    setupError_ = URLErrorWithCode(NSURLErrorCannotCreateFile, request_.URL());
    return false;
  }
  easy_ = handles_->take();
  configure();
  return true;
}

bool URLTransfer::openDownloadFile() {
  std::string pattern = temporaryFolder() + "/VantorDownload_XXXXXX.tmp";
  const int fd = mkostemps(pattern.data(), 4, O_CLOEXEC);
  if (fd < 0) return false;
  file_ = fdopen(fd, "wb");
  if (!file_) {
    ::close(fd);
    ::unlink(pattern.c_str());
    return false;
  }
  std::setvbuf(file_, nullptr, _IOFBF, kFileBufferSize);
  filePath_ = std::move(pattern);
  return true;
}

void URLTransfer::reserveBody() {
  curl_off_t announced = -1;
  curl().easy_getinfo(easy_, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &announced);
  if (announced <= 0) return;
  body_.reserve(static_cast<std::size_t>(std::min(announced, kLargestReservedBody)));
  // A large body is faulted in 2 MiB at a time rather than 4 KiB: a
  // gigabyte otherwise costs a quarter of a million page faults, and
  // takes twice as long to arrive.
  adviseHugePages(body_.data(), body_.capacity());
}

void URLTransfer::discardDownloadFile() {
  if (file_) {
    std::fclose(file_);
    file_ = nullptr;
  }
  if (!filePath_.empty()) {
    ::unlink(filePath_.c_str());
    filePath_.clear();
  }
}

void URLTransfer::configure() {
  const URLRequest& request = request_;
  url_ = request.URL().absoluteUTF8();
  curl().easy_setopt(easy_, CURLOPT_URL, url_.c_str());
  curl().easy_setopt(easy_, CURLOPT_PRIVATE, this);
  curl().easy_setopt(easy_, CURLOPT_ERRORBUFFER, errorText_);
  curl().easy_setopt(easy_, CURLOPT_NOSIGNAL, 1L);
  // This libcurl also speaks file, gopher, smb and more. Redirects are
  // followed by the engine, one transfer each, so that the delegate can
  // see them; each new URL is checked like the first.
  curl().easy_setopt(easy_, CURLOPT_PROTOCOLS_STR, "http,https");
  curl().easy_setopt(easy_, CURLOPT_ACCEPT_ENCODING, "");  // every decoder libcurl has
  curl().easy_setopt(easy_, CURLOPT_TCP_KEEPALIVE, 1L);
  curl().easy_setopt(easy_, CURLOPT_PIPEWAIT, 1L);
  if (file_) curl().easy_setopt(easy_, CURLOPT_BUFFERSIZE, kDownloadReceiveBufferSize);

  // An idle time-out, never a limit on the whole transfer.
  double timeout = request.timeoutInterval();
  if (!(timeout > 0)) timeout = URLRequest::kDefaultTimeoutInterval;
  curl().easy_setopt(easy_, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(timeout * 1000));
  curl().easy_setopt(easy_, CURLOPT_LOW_SPEED_LIMIT, 1L);
  curl().easy_setopt(easy_, CURLOPT_LOW_SPEED_TIME,
                     std::max(1L, static_cast<long>(std::ceil(timeout))));

  const auto& configuration = task_->session()->configuration();
  if (configuration.certificateAuthorityFile) {
    curl().easy_setopt(easy_, CURLOPT_CAINFO,
                       toUTF8(*configuration.certificateAuthorityFile).c_str());
  }

  method_ = toUTF8(request.HTTPMethod());
  if (request.HTTPBody() || method_ == "POST") {
    if (request.HTTPBody()) requestBody_ = *request.HTTPBody();
    curl().easy_setopt(easy_, CURLOPT_POST, 1L);
    curl().easy_setopt(easy_, CURLOPT_POSTFIELDSIZE_LARGE,
                       static_cast<curl_off_t>(requestBody_.size()));
    // Never a null pointer: curl would read the body from its read callback
    // (standard input by default) instead.
    static const char kNoBody[] = "";
    curl().easy_setopt(
        easy_, CURLOPT_POSTFIELDS,
        requestBody_.empty() ? kNoBody : reinterpret_cast<const char*>(requestBody_.data()));
  }
  if (method_ == "HEAD") {
    curl().easy_setopt(easy_, CURLOPT_NOBODY, 1L);
  } else if (method_ != "GET" && method_ != "POST") {
    curl().easy_setopt(easy_, CURLOPT_CUSTOMREQUEST, method_.c_str());
  } else if (method_ == "GET" && request.HTTPBody()) {
    curl().easy_setopt(easy_, CURLOPT_CUSTOMREQUEST, "GET");
  }

  headerList_ = curl().slist_append(headerList_, "Expect:");  // no 100-continue round trip
  for (const auto& [name, value] : request.allHTTPHeaderFields()) {
    // "Name;" is curl's way to send a field with an empty value.
    const std::string line =
        value.empty() ? toUTF8(name) + ";" : toUTF8(name) + ": " + toUTF8(value);
    headerList_ = curl().slist_append(headerList_, line.c_str());
  }
  curl().easy_setopt(easy_, CURLOPT_HTTPHEADER, headerList_);
  if (!request.valueForHTTPHeaderField(u"User-Agent")) {
    curl().easy_setopt(easy_, CURLOPT_USERAGENT, defaultUserAgent().c_str());
  }

  curl().easy_setopt(easy_, CURLOPT_WRITEFUNCTION, &URLTransfer::onBody);
  curl().easy_setopt(easy_, CURLOPT_WRITEDATA, this);
  curl().easy_setopt(easy_, CURLOPT_HEADERFUNCTION, &URLTransfer::onHeader);
  curl().easy_setopt(easy_, CURLOPT_HEADERDATA, this);
  curl().easy_setopt(easy_, CURLOPT_XFERINFOFUNCTION, &URLTransfer::onProgress);
  curl().easy_setopt(easy_, CURLOPT_XFERINFODATA, this);
  curl().easy_setopt(easy_, CURLOPT_NOPROGRESS, 0L);
}

std::size_t URLTransfer::onBody(char* bytes, std::size_t size, std::size_t count, void* self) {
  auto* transfer = static_cast<URLTransfer*>(self);
  const std::size_t length = size * count;
  if (transfer->file_) {
    if (std::fwrite(bytes, 1, length, transfer->file_) != length) {
      transfer->writeFailed_ = true;
      return 0;
    }
  } else {
    if (transfer->body_.empty()) transfer->reserveBody();
    // Same element type on both sides, so the insert is one memmove.
    const auto* first = reinterpret_cast<const std::uint8_t*>(bytes);
    transfer->body_.insert(transfer->body_.end(), first, first + length);
  }
  return length;
}

std::size_t URLTransfer::onHeader(char* bytes, std::size_t size, std::size_t count, void* self) {
  auto* transfer = static_cast<URLTransfer*>(self);
  const std::string_view line(bytes, size * count);
  if (line.starts_with("HTTP/")) {
    transfer->headers_.clear();  // a new response: a redirect's or the final one
  } else if (const auto colon = line.find(':'); colon != std::string_view::npos) {
    transfer->headers_.emplace_back(fromUTF8(trimmed(line.substr(0, colon))),
                                    fromUTF8(trimmed(line.substr(colon + 1))));
  }
  return size * count;
}

int URLTransfer::onProgress(void* self, curl_off_t total, curl_off_t now, curl_off_t, curl_off_t) {
  auto* transfer = static_cast<URLTransfer*>(self);
  transfer->task_->noteProgress(now, total > 0 ? total : -1);
  return 0;
}

const std::shared_ptr<HTTPURLResponse>& URLTransfer::response() {
  if (!response_) {
    curl().easy_getinfo(easy_, CURLINFO_RESPONSE_CODE, &statusCode_);
    if (statusCode_ > 0) {
      response_ = std::make_shared<HTTPURLResponse>(request_.URL(), static_cast<int>(statusCode_),
                                                    std::move(headers_));
    }
  }
  return response_;
}

std::optional<URLRequest> URLTransfer::redirectedRequest() const {
  long status = 0;
  curl().easy_getinfo(easy_, CURLINFO_RESPONSE_CODE, &status);
  if (status != 301 && status != 302 && status != 303 && status != 307 && status != 308) {
    return std::nullopt;
  }
  const char* location = nullptr;  // resolved against the request's URL by curl
  curl().easy_getinfo(easy_, CURLINFO_REDIRECT_URL, &location);
  auto target = location ? URL::URLWithString(fromUTF8(location)) : std::nullopt;
  if (!target) return std::nullopt;  // nothing to follow: the 3xx is the answer
  URLRequest next = request_;
  const String& method = request_.HTTPMethod();
  if ((status == 303 && method != u"HEAD") ||
      ((status == 301 || status == 302) && method == u"POST")) {
    next.setHTTPMethod(u"GET");
    next.setHTTPBody(std::nullopt);
    next.setValue(std::nullopt, u"Content-Type");
  }
  const auto origin = [](const URL& url) {
    return std::tuple(asciiLowercase(url.scheme().value_or(u"")),
                      asciiLowercase(url.host().value_or(u"")), url.port());
  };
  if (origin(*target) != origin(request_.URL())) {
    // Credentials meant for one server are not handed to another.
    next.setValue(std::nullopt, u"Authorization");
    next.setValue(std::nullopt, u"Cookie");
  }
  next.setURL(std::move(*target));
  return next;
}

ErrorPtr URLTransfer::errorFor(CURLcode result) {
  std::int64_t code = NSURLErrorUnknown;
  switch (result) {
    case CURLE_UNSUPPORTED_PROTOCOL:
      // Every URL was checked before curl saw it: the server sent something
      // that is not HTTP (curl refuses HTTP/0.9).
      code = NSURLErrorBadServerResponse;
      break;
    case CURLE_URL_MALFORMAT:
      code = NSURLErrorBadURL;
      break;
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
      code = NSURLErrorCannotFindHost;
      break;
    case CURLE_COULDNT_CONNECT:
      code = NSURLErrorCannotConnectToHost;
      break;
    case CURLE_OPERATION_TIMEDOUT:
      code = NSURLErrorTimedOut;
      break;
    case CURLE_PARTIAL_FILE:
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR:
    case CURLE_GOT_NOTHING:
    case CURLE_HTTP2:
    case CURLE_HTTP2_STREAM:
      code = NSURLErrorNetworkConnectionLost;
      break;
    case CURLE_WEIRD_SERVER_REPLY:
      code = NSURLErrorBadServerResponse;
      break;
    case CURLE_BAD_CONTENT_ENCODING:
      code = NSURLErrorCannotDecodeContentData;
      break;
    case CURLE_WRITE_ERROR:
      code = writeFailed_ ? NSURLErrorCannotWriteToFile : NSURLErrorUnknown;
      break;
    case CURLE_PEER_FAILED_VERIFICATION: {
      long verifyResult = X509_V_OK;
      curl().easy_getinfo(easy_, CURLINFO_SSL_VERIFYRESULT, &verifyResult);
      code = verifyResultCode(verifyResult);
      break;
    }
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_CRL_BADFILE:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_INVALIDCERTSTATUS:
    case CURLE_SSL_PINNEDPUBKEYNOTMATCH:
      code = NSURLErrorSecureConnectionFailed;
      break;
    default:
      break;
  }
  const std::string text = errorText_[0] ? errorText_ : curl().easy_strerror(result);
  return URLErrorWithCode(code, request_.URL(), fromUTF8(text));
}

void URLTransfer::finish(CURLcode result) {
  if (setupError_) {
    task_->complete(std::nullopt, std::nullopt, nullptr, setupError_);
    return;
  }
  auto response = this->response();
  if (result == CURLE_OK && file_) {
    const bool written = std::fflush(file_) == 0;
    std::fclose(file_);
    file_ = nullptr;
    if (!written) {
      writeFailed_ = true;
      result = CURLE_WRITE_ERROR;
    }
  }
  if (result != CURLE_OK) {
    discardDownloadFile();
    task_->complete(std::nullopt, std::nullopt, std::move(response), errorFor(result));
    return;
  }
  if (task_->kind() == URLSessionTask::Kind::Download) {
    // The task removes the file once its handler has run.
    auto location = URL::fileURLWithPath(fromUTF8(filePath_));
    filePath_.clear();
    task_->complete(std::nullopt, std::move(location), std::move(response), nullptr);
  } else {
    task_->complete(std::move(body_), std::nullopt, std::move(response), nullptr);
  }
}

void URLTransfer::fail(std::int64_t code, const URL& failingURL) {
  discardDownloadFile();
  task_->complete(std::nullopt, std::nullopt, nullptr, URLErrorWithCode(code, failingURL));
}

void URLTransfer::finishCancelled() { fail(NSURLErrorCancelled, request_.URL()); }

}  // namespace lx::detail
