#include "URLTransfer.h"

#include <fcntl.h>
#include <openssl/x509_vfy.h>
#include <stdlib.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>

#include "ASCIICase.h"
#include "vantorcore/platform/ProcessInfo.h"
#include "vantorcore/platform/URLError.h"
#include "vantorcore/platform/URLSession.h"

namespace lx::detail {

namespace {

// The platform gives up after this many redirects.
constexpr long kMaximumRedirects = 16;
// Large reads and writes for downloads: fewer calls per gigabyte.
constexpr long kDownloadReceiveBufferSize = 512L * 1024;  // libcurl's maximum
// Pieces smaller than this are gathered before they go to the file; larger
// ones go straight from curl's buffer, sparing a copy of nearly every byte
// of a fast download.
constexpr std::size_t kGatheredPieceSize = 64 * 1024;
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

bool writeFully(int fd, iovec* pieces, int count) {
  while (count > 0) {
    const ssize_t written = ::writev(fd, pieces, count);
    if (written < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    auto left = static_cast<std::size_t>(written);
    for (; count > 0 && left >= pieces->iov_len; ++pieces, --count) left -= pieces->iov_len;
    if (count > 0) {
      pieces->iov_base = static_cast<char*>(pieces->iov_base) + left;
      pieces->iov_len -= left;
    }
  }
  return true;
}

// The agent curl would name, built once: curl_version() formats its text
// on every call.
const std::string& defaultUserAgent() {
  static const std::string agent =
      toUTF8(ProcessInfo::processName()) + " VantorCore " + curl_version();
  return agent;
}

std::string temporaryFolder() {
  const char* folder = getenv("TMPDIR");
  return folder && *folder ? folder : "/tmp";
}

}  // namespace

EasyHandlePool::~EasyHandlePool() {
  for (CURL* easy : idle_) curl_easy_cleanup(easy);
}

CURL* EasyHandlePool::take() {
  if (idle_.empty()) return curl_easy_init();
  CURL* easy = idle_.back();
  idle_.pop_back();
  return easy;
}

void EasyHandlePool::give(CURL* easy) {
  if (!easy) return;
  if (idle_.size() >= kPooledHandles) {
    curl_easy_cleanup(easy);
    return;
  }
  curl_easy_reset(easy);
  idle_.push_back(easy);
}

URLTransfer::URLTransfer(std::shared_ptr<URLSessionTask> task, EasyHandlePool& handles)
    : task_(std::move(task)), handles_(&handles) {
  const URLRequest& request = task_->originalRequest();
  if (!isHTTPScheme(request.URL().scheme())) {
    setupError_ = URLErrorWithCode(NSURLErrorUnsupportedURL, request.URL());
    return;
  }
  if (!request.URL().host() || request.URL().host()->empty()) {
    setupError_ = URLErrorWithCode(NSURLErrorBadURL, request.URL());
    return;
  }
  const String scheme = asciiLowercase(*request.URL().scheme());
  const int port = request.URL().port().value_or(scheme == u"https" ? 443 : 80);
  hostKey_ =
      toUTF8(scheme + u"://" + asciiLowercase(*request.URL().host())) + ":" + std::to_string(port);
}

URLTransfer::~URLTransfer() {
  discardDownloadFile();
  handles_->give(easy_);
  curl_slist_free_all(headerList_);
}

bool URLTransfer::begin() {
  if (task_->kind() == URLSessionTask::Kind::Download && !openDownloadFile()) {
    setupError_ = URLErrorWithCode(NSURLErrorCannotCreateFile, task_->originalRequest().URL());
    return false;
  }
  easy_ = handles_->take();
  configure();
  return true;
}

bool URLTransfer::openDownloadFile() {
  std::string pattern = temporaryFolder() + "/VantorDownload_XXXXXX.tmp";
  file_ = mkostemps(pattern.data(), 4, O_CLOEXEC);
  if (file_ < 0) return false;
  filePath_ = std::move(pattern);
  pendingWrite_.reserve(kFileBufferSize);
  return true;
}

bool URLTransfer::flushFile(const char* bytes, std::size_t length) {
  iovec pieces[2] = {{pendingWrite_.data(), pendingWrite_.size()},
                     {const_cast<char*>(bytes), length}};
  const bool written =
      writeFully(file_, pendingWrite_.empty() ? pieces + 1 : pieces, pendingWrite_.empty() ? 1 : 2);
  pendingWrite_.clear();
  return written;
}

bool URLTransfer::writeToFile(const char* bytes, std::size_t length) {
  if (length < kGatheredPieceSize && pendingWrite_.size() + length <= kFileBufferSize) {
    pendingWrite_.insert(pendingWrite_.end(), bytes, bytes + length);
    return true;
  }
  return flushFile(bytes, length);
}

void URLTransfer::reserveBody() {
  curl_off_t announced = -1;
  curl_easy_getinfo(easy_, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &announced);
  if (announced > 0)
    body_.reserve(static_cast<std::size_t>(std::min(announced, kLargestReservedBody)));
}

void URLTransfer::discardDownloadFile() {
  if (file_ >= 0) {
    ::close(file_);
    file_ = -1;
  }
  if (!filePath_.empty()) {
    ::unlink(filePath_.c_str());
    filePath_.clear();
  }
}

void URLTransfer::configure() {
  const URLRequest& request = task_->originalRequest();
  url_ = request.URL().absoluteUTF8();
  curl_easy_setopt(easy_, CURLOPT_URL, url_.c_str());
  curl_easy_setopt(easy_, CURLOPT_PRIVATE, this);
  curl_easy_setopt(easy_, CURLOPT_ERRORBUFFER, errorText_);
  curl_easy_setopt(easy_, CURLOPT_NOSIGNAL, 1L);
  // This libcurl also speaks file, gopher, smb and more; a redirect must
  // never lead a web request there.
  curl_easy_setopt(easy_, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(easy_, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(easy_, CURLOPT_FOLLOWLOCATION, 1L);
  curl_easy_setopt(easy_, CURLOPT_MAXREDIRS, kMaximumRedirects);
  curl_easy_setopt(easy_, CURLOPT_ACCEPT_ENCODING, "");  // every decoder libcurl has
  curl_easy_setopt(easy_, CURLOPT_TCP_KEEPALIVE, 1L);
  curl_easy_setopt(easy_, CURLOPT_PIPEWAIT, 1L);
  if (file_ >= 0) curl_easy_setopt(easy_, CURLOPT_BUFFERSIZE, kDownloadReceiveBufferSize);

  // An idle time-out, never a limit on the whole transfer.
  double timeout = request.timeoutInterval();
  if (!(timeout > 0)) timeout = URLRequest::kDefaultTimeoutInterval;
  curl_easy_setopt(easy_, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(timeout * 1000));
  curl_easy_setopt(easy_, CURLOPT_LOW_SPEED_LIMIT, 1L);
  curl_easy_setopt(easy_, CURLOPT_LOW_SPEED_TIME,
                   std::max(1L, static_cast<long>(std::ceil(timeout))));

  const auto& configuration = task_->session()->configuration();
  if (configuration.certificateAuthorityFile) {
    curl_easy_setopt(easy_, CURLOPT_CAINFO,
                     toUTF8(*configuration.certificateAuthorityFile).c_str());
  }

  method_ = toUTF8(request.HTTPMethod());
  if (request.HTTPBody() || method_ == "POST") {
    if (request.HTTPBody()) requestBody_ = *request.HTTPBody();
    curl_easy_setopt(easy_, CURLOPT_POST, 1L);
    curl_easy_setopt(easy_, CURLOPT_POSTFIELDSIZE_LARGE,
                     static_cast<curl_off_t>(requestBody_.size()));
    // Never a null pointer: curl would read the body from its read callback
    // (standard input by default) instead.
    static const char kNoBody[] = "";
    curl_easy_setopt(
        easy_, CURLOPT_POSTFIELDS,
        requestBody_.empty() ? kNoBody : reinterpret_cast<const char*>(requestBody_.data()));
  }
  if (method_ == "HEAD") {
    curl_easy_setopt(easy_, CURLOPT_NOBODY, 1L);
  } else if (method_ != "GET" && method_ != "POST") {
    curl_easy_setopt(easy_, CURLOPT_CUSTOMREQUEST, method_.c_str());
  } else if (method_ == "GET" && request.HTTPBody()) {
    curl_easy_setopt(easy_, CURLOPT_CUSTOMREQUEST, "GET");
  }

  headerList_ = curl_slist_append(headerList_, "Expect:");  // no 100-continue round trip
  for (const auto& [name, value] : request.allHTTPHeaderFields()) {
    // "Name;" is curl's way to send a field with an empty value.
    const std::string line =
        value.empty() ? toUTF8(name) + ";" : toUTF8(name) + ": " + toUTF8(value);
    headerList_ = curl_slist_append(headerList_, line.c_str());
  }
  curl_easy_setopt(easy_, CURLOPT_HTTPHEADER, headerList_);
  if (!request.valueForHTTPHeaderField(u"User-Agent")) {
    curl_easy_setopt(easy_, CURLOPT_USERAGENT, defaultUserAgent().c_str());
  }

  curl_easy_setopt(easy_, CURLOPT_WRITEFUNCTION, &URLTransfer::onBody);
  curl_easy_setopt(easy_, CURLOPT_WRITEDATA, this);
  curl_easy_setopt(easy_, CURLOPT_HEADERFUNCTION, &URLTransfer::onHeader);
  curl_easy_setopt(easy_, CURLOPT_HEADERDATA, this);
  curl_easy_setopt(easy_, CURLOPT_XFERINFOFUNCTION, &URLTransfer::onProgress);
  curl_easy_setopt(easy_, CURLOPT_XFERINFODATA, this);
  curl_easy_setopt(easy_, CURLOPT_NOPROGRESS, 0L);
}

std::size_t URLTransfer::onBody(char* bytes, std::size_t size, std::size_t count, void* self) {
  auto* transfer = static_cast<URLTransfer*>(self);
  const std::size_t length = size * count;
  if (transfer->file_ >= 0) {
    if (!transfer->writeToFile(bytes, length)) {
      transfer->writeFailed_ = true;
      return 0;
    }
  } else {
    if (transfer->body_.empty()) transfer->reserveBody();
    transfer->body_.insert(transfer->body_.end(), bytes, bytes + length);
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

std::shared_ptr<HTTPURLResponse> URLTransfer::makeResponse() {
  curl_easy_getinfo(easy_, CURLINFO_RESPONSE_CODE, &statusCode_);
  if (statusCode_ <= 0) return nullptr;
  long redirects = 0;
  curl_easy_getinfo(easy_, CURLINFO_REDIRECT_COUNT, &redirects);
  if (redirects == 0) {  // spares parsing curl's copy of the URL we gave it
    return std::make_shared<HTTPURLResponse>(task_->originalRequest().URL(),
                                             static_cast<int>(statusCode_), std::move(headers_));
  }
  const char* effective = nullptr;
  curl_easy_getinfo(easy_, CURLINFO_EFFECTIVE_URL, &effective);
  auto url = effective ? URL::URLWithString(fromUTF8(effective)) : std::nullopt;
  return std::make_shared<HTTPURLResponse>(url ? *url : task_->originalRequest().URL(),
                                           static_cast<int>(statusCode_), std::move(headers_));
}

ErrorPtr URLTransfer::errorFor(CURLcode result) {
  const char* effective = nullptr;
  curl_easy_getinfo(easy_, CURLINFO_EFFECTIVE_URL, &effective);
  auto failingURL = effective ? URL::URLWithString(fromUTF8(effective)) : std::nullopt;
  if (!failingURL) failingURL = task_->originalRequest().URL();
  std::int64_t code = NSURLErrorUnknown;
  switch (result) {
    case CURLE_UNSUPPORTED_PROTOCOL:
      // Our own URL was checked; an http URL failing here sent something
      // that is not HTTP (curl refuses HTTP/0.9).
      code = isHTTPScheme(failingURL->scheme()) ? NSURLErrorBadServerResponse
                                                : NSURLErrorUnsupportedURL;
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
    case CURLE_TOO_MANY_REDIRECTS:
      code = NSURLErrorHTTPTooManyRedirects;
      break;
    case CURLE_BAD_CONTENT_ENCODING:
      code = NSURLErrorCannotDecodeContentData;
      break;
    case CURLE_WRITE_ERROR:
      code = writeFailed_ ? NSURLErrorCannotWriteToFile : NSURLErrorUnknown;
      break;
    case CURLE_PEER_FAILED_VERIFICATION: {
      long verifyResult = X509_V_OK;
      curl_easy_getinfo(easy_, CURLINFO_SSL_VERIFYRESULT, &verifyResult);
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
  const std::string text = errorText_[0] ? errorText_ : curl_easy_strerror(result);
  return URLErrorWithCode(code, failingURL, fromUTF8(text));
}

void URLTransfer::finish(CURLcode result) {
  if (setupError_) {
    task_->complete(std::nullopt, std::nullopt, nullptr, setupError_);
    return;
  }
  auto response = makeResponse();
  if (result == CURLE_OK && file_ >= 0) {
    const bool flushed = flushFile();
    const bool closed = ::close(file_) == 0;
    file_ = -1;
    const bool written = flushed && closed;
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

void URLTransfer::finishCancelled() {
  discardDownloadFile();
  task_->complete(std::nullopt, std::nullopt, nullptr,
                  URLErrorWithCode(NSURLErrorCancelled, task_->originalRequest().URL()));
}

}  // namespace lx::detail
