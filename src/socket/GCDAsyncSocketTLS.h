// TLS sessions of `GCDAsyncSocket`: the OpenSSL context a socket's settings
// call for, and the stream layered on the socket's connection.
#pragma once

#include <boost/asio/generic/stream_protocol.hpp>
#include <boost/asio/ssl.hpp>
#include <memory>
#include <string>

#include "vantorcore/socket/GCDAsyncSocket.h"

namespace lx {

/// The socket as TLS sees it: bytes that plain reads had already taken in
/// (a peer may send its first handshake message right behind the last plain
/// bytes) are served first, then the socket's own.
class PrefixedStream {
 public:
  using Socket = boost::asio::generic::stream_protocol::socket;
  using executor_type = Socket::executor_type;
  using lowest_layer_type = Socket::lowest_layer_type;

  PrefixedStream(Socket& socket, Data prefix) : socket_(socket), prefix_(std::move(prefix)) {}

  executor_type get_executor() { return socket_.get_executor(); }
  lowest_layer_type& lowest_layer() { return socket_.lowest_layer(); }
  const lowest_layer_type& lowest_layer() const { return socket_.lowest_layer(); }

  template <class Buffers, class Token>
  auto async_read_some(const Buffers& buffers, Token&& token) {
    return boost::asio::async_initiate<Token, void(boost::system::error_code, std::size_t)>(
        [this](auto handler, const Buffers& buffers) {
          if (offset_ == prefix_.size()) {
            return socket_.async_read_some(buffers, std::move(handler));
          }
          const std::size_t n =
              boost::asio::buffer_copy(buffers, boost::asio::buffer(prefix_) + offset_);
          offset_ += n;
          auto executor = boost::asio::get_associated_executor(handler, get_executor());
          boost::asio::post(executor, [handler = std::move(handler), n]() mutable {
            handler(boost::system::error_code(), n);
          });
        },
        token, buffers);
  }

  template <class Buffers, class Token>
  auto async_write_some(const Buffers& buffers, Token&& token) {
    return socket_.async_write_some(buffers, std::forward<Token>(token));
  }

 private:
  Socket& socket_;
  Data prefix_;
  std::size_t offset_ = 0;
};

/// One handshake's context and the TLS stream over the socket it borrows.
/// Shared by the socket and its pending handlers, so the stream outlives
/// every operation started on it.
struct TLSSession {
  TLSSession(boost::asio::ssl::context context,
             boost::asio::generic::stream_protocol::socket& socket, Data prefix)
      : context(std::move(context)),
        layer(socket, std::move(prefix)),
        stream(layer, this->context) {}

  boost::asio::ssl::context context;
  PrefixedStream layer;
  boost::asio::ssl::stream<PrefixedStream&> stream;
};

/// A session for `settings` over `socket` (after the `unread` bytes), or null with the reason in
/// `failure` (unreadable certificate, key or authority file; a server
/// without a certificate). A client verifies the chain and the name
/// (`peerName`, else `connectedHost`) unless told not to, and sends the name
/// as SNI when it is not an address.
std::shared_ptr<TLSSession> makeTLSSession(boost::asio::generic::stream_protocol::socket& socket,
                                           Data unread, const GCDAsyncSocketTLSSettings& settings,
                                           const std::string& connectedHost, std::string& failure);

/// The text of a failed handshake: OpenSSL's reason, and the certificate
/// verification result when that is what failed.
///   'certificate verify failed' + self-signed =>
///   'TLS handshake failed: certificate verify failed (self-signed certificate)'
std::string describeTLSFailure(TLSSession& session, const boost::system::error_code& ec);

}  // namespace lx
