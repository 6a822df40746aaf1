#include "support/TestHTTPServer.h"

#include <sys/socket.h>
#include <zlib.h>

#include <algorithm>
#include <boost/asio.hpp>
#include <boost/asio/ssl.hpp>
#include <cctype>
#include <set>

namespace lx::test {

namespace asio = boost::asio;
using asio::ip::tcp;

HTTPReply HTTPReply::make(int status, std::string body, std::vector<std::string> fields) {
  HTTPReply reply;
  reply.head = "HTTP/1.1 " + std::to_string(status) + " Scripted\r\n";
  for (const auto& field : fields) reply.head += field + "\r\n";
  reply.head += "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n";
  reply.body = std::move(body);
  return reply;
}

HTTPReply HTTPReply::json(int status, std::string json) {
  return make(status, std::move(json), {"Content-Type: application/json"});
}

HTTPReply HTTPReply::redirect(const std::string& location, int status) {
  return make(status, "", {"Location: " + location});
}

HTTPReply HTTPReply::gzipped(const std::string& body) {
  z_stream stream{};
  deflateInit2(&stream, Z_BEST_SPEED, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY);  // +16: gzip
  std::string out(deflateBound(&stream, body.size()) + 32, '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(body.data()));
  stream.avail_in = static_cast<uInt>(body.size());
  stream.next_out = reinterpret_cast<Bytef*>(out.data());
  stream.avail_out = static_cast<uInt>(out.size());
  deflate(&stream, Z_FINISH);
  out.resize(stream.total_out);
  deflateEnd(&stream);
  return make(200, std::move(out), {"Content-Encoding: gzip"});
}

HTTPReply HTTPReply::large(std::uint64_t bytes) {
  HTTPReply reply;
  reply.head =
      "HTTP/1.1 200 Scripted\r\nContent-Type: application/octet-stream\r\nContent-Length: " +
      std::to_string(bytes) + "\r\n\r\n";
  reply.generatedBytes = bytes;
  return reply;
}

HTTPReply HTTPReply::raw(std::string bytes) {
  HTTPReply reply;
  reply.head = std::move(bytes);
  reply.then = Then::Close;
  return reply;
}

struct TestHTTPServer::Impl {
  Script script;
  std::optional<asio::ssl::context> tls;
  asio::io_context io;
  tcp::acceptor acceptor{io};
  std::thread acceptThread;
  std::atomic<bool> stopping{false};
  mutable std::mutex mutex;
  std::vector<HTTPRequestRecord> requests;
  std::set<int> openSockets;
  std::vector<std::thread> connectionThreads;

  template <class Stream>
  void serve(Stream& stream);
  template <class Stream>
  bool send(Stream& stream, const HTTPReply& reply);
  void handle(tcp::socket socket);
};

namespace {

std::string lowercase(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

std::string trim(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\r')) text.remove_suffix(1);
  return std::string(text);
}

// Reads one request; absent when the client closed or sent nonsense.
template <class Stream>
std::optional<HTTPRequestRecord> readRequest(Stream& stream, asio::streambuf& buffer) {
  boost::system::error_code ec;
  const std::size_t headLength = asio::read_until(stream, buffer, "\r\n\r\n", ec);
  if (ec) return std::nullopt;
  std::string head(asio::buffers_begin(buffer.data()),
                   asio::buffers_begin(buffer.data()) + static_cast<std::ptrdiff_t>(headLength));
  buffer.consume(headLength);
  HTTPRequestRecord request;
  std::size_t lineEnd = head.find("\r\n");
  const std::string requestLine = head.substr(0, lineEnd);
  const auto firstSpace = requestLine.find(' ');
  const auto secondSpace = requestLine.find(' ', firstSpace + 1);
  if (firstSpace == std::string::npos || secondSpace == std::string::npos) return std::nullopt;
  request.method = requestLine.substr(0, firstSpace);
  request.target = requestLine.substr(firstSpace + 1, secondSpace - firstSpace - 1);
  for (std::size_t start = lineEnd + 2; start < head.size();) {
    const std::size_t end = head.find("\r\n", start);
    const std::string_view line(head.data() + start, end - start);
    if (const auto colon = line.find(':'); colon != std::string_view::npos) {
      request.headers[lowercase(std::string(line.substr(0, colon)))] = trim(line.substr(colon + 1));
    }
    start = end + 2;
  }
  if (const auto length = request.headers.find("content-length"); length != request.headers.end()) {
    const std::size_t size = std::stoul(length->second);
    if (buffer.size() < size)
      asio::read(stream, buffer, asio::transfer_exactly(size - buffer.size()), ec);
    if (ec) return std::nullopt;
    request.body.assign(asio::buffers_begin(buffer.data()),
                        asio::buffers_begin(buffer.data()) + static_cast<std::ptrdiff_t>(size));
    buffer.consume(size);
  }
  return request;
}

}  // namespace

template <class Stream>
bool TestHTTPServer::Impl::send(Stream& stream, const HTTPReply& reply) {
  boost::system::error_code ec;
  std::string fixed = reply.head + reply.body;
  if (reply.cutAt) {
    fixed.resize(std::min(*reply.cutAt, fixed.size()));
    asio::write(stream, asio::buffer(fixed), ec);
    return false;
  }
  asio::write(stream, asio::buffer(fixed), ec);
  if (ec) return false;
  static const std::string pattern = [] {
    std::string chunk(26 * 10'000, '\0');  // whole alphabets, so each write continues the pattern
    for (std::size_t i = 0; i < chunk.size(); ++i) chunk[i] = HTTPReply::patternByte(i);
    return chunk;
  }();
  for (std::uint64_t sent = 0; sent < reply.generatedBytes;) {
    const std::size_t piece = static_cast<std::size_t>(
        std::min<std::uint64_t>(pattern.size(), reply.generatedBytes - sent));
    asio::write(stream, asio::buffer(pattern.data(), piece), ec);
    if (ec) return false;
    sent += piece;
  }
  return reply.then == HTTPReply::Then::KeepAlive;
}

template <class Stream>
void TestHTTPServer::Impl::serve(Stream& stream) {
  asio::streambuf buffer;
  while (!stopping.load()) {
    auto request = readRequest(stream, buffer);
    if (!request) return;
    {
      std::lock_guard lock(mutex);
      requests.push_back(*request);
    }
    const HTTPReply reply = script(*request);
    const bool keepAlive = send(stream, reply);
    if (reply.then == HTTPReply::Then::Stall) {
      // Quiet until the client gives up (or the server stops).
      char byte;
      boost::system::error_code ec;
      while (!ec) stream.read_some(asio::buffer(&byte, 1), ec);
      return;
    }
    const auto connection = request->headers.find("connection");
    if (!keepAlive ||
        (connection != request->headers.end() && lowercase(connection->second) == "close")) {
      return;
    }
  }
}

void TestHTTPServer::Impl::handle(tcp::socket socket) {
  const int fd = socket.native_handle();
  {
    std::lock_guard lock(mutex);
    if (stopping.load()) return;
    openSockets.insert(fd);
  }
  if (tls) {
    asio::ssl::stream<tcp::socket&> secure(socket, *tls);
    boost::system::error_code ec;
    secure.handshake(asio::ssl::stream_base::server, ec);
    if (!ec) {
      serve(secure);
      secure.shutdown(ec);
    }
  } else {
    serve(socket);
  }
  std::lock_guard lock(mutex);
  openSockets.erase(fd);
  boost::system::error_code ignored;
  socket.shutdown(tcp::socket::shutdown_both, ignored);
  socket.close(ignored);
}

TestHTTPServer::TestHTTPServer(Script script, std::optional<TLSIdentity> tls)
    : impl_(std::make_unique<Impl>()) {
  impl_->script = std::move(script);
  if (tls) {
    impl_->tls.emplace(asio::ssl::context::tls_server);
    impl_->tls->use_certificate_chain(asio::buffer(tls->certificateChainPEM));
    impl_->tls->use_private_key(asio::buffer(tls->privateKeyPEM), asio::ssl::context::pem);
  }
  const tcp::endpoint endpoint(asio::ip::make_address("127.0.0.1"), 0);
  impl_->acceptor.open(endpoint.protocol());
  impl_->acceptor.set_option(tcp::acceptor::reuse_address(true));
  impl_->acceptor.bind(endpoint);
  impl_->acceptor.listen();
  port_ = impl_->acceptor.local_endpoint().port();
  impl_->acceptThread = std::thread([this] {
    for (;;) {
      tcp::socket socket(impl_->io);
      boost::system::error_code ec;
      impl_->acceptor.accept(socket, ec);
      if (impl_->stopping.load()) return;
      if (ec) continue;
      socket.set_option(tcp::no_delay(true), ec);
      ++connections_;
      std::lock_guard lock(impl_->mutex);
      impl_->connectionThreads.emplace_back(
          [impl = impl_.get(), s = std::move(socket)]() mutable { impl->handle(std::move(s)); });
    }
  });
}

TestHTTPServer::~TestHTTPServer() {
  impl_->stopping.store(true);
  // shutdown(2) wakes a thread blocked in accept or read on the socket.
  ::shutdown(impl_->acceptor.native_handle(), SHUT_RDWR);
  impl_->acceptThread.join();
  std::vector<std::thread> threads;
  {
    std::lock_guard lock(impl_->mutex);
    for (const int fd : impl_->openSockets) ::shutdown(fd, SHUT_RDWR);
    threads.swap(impl_->connectionThreads);
  }
  for (auto& thread : threads) thread.join();
}

std::string TestHTTPServer::url(std::string_view path, std::string_view host) const {
  return std::string(impl_->tls ? "https://" : "http://") + std::string(host) + ":" +
         std::to_string(port_) + std::string(path);
}

std::vector<HTTPRequestRecord> TestHTTPServer::requests() const {
  std::lock_guard lock(impl_->mutex);
  return impl_->requests;
}

}  // namespace lx::test
