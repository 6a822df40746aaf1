#include "socket/GCDAsyncSocketTLS.h"

#include <openssl/ssl.h>
#include <openssl/x509.h>

#include <boost/asio/ip/address.hpp>

namespace lx {

namespace asio = boost::asio;
namespace ssl = boost::asio::ssl;
using boost::system::error_code;

namespace {

// Applies the files of `settings`; false with the reason when one fails.
bool loadFiles(ssl::context& context, const GCDAsyncSocketTLSSettings& settings,
               std::string& failure) {
  error_code ec;
  if (settings.certificateChainFile) {
    context.use_certificate_chain_file(*settings.certificateChainFile, ec);
    if (ec) {
      failure = "Cannot use the certificate chain " + *settings.certificateChainFile + ": " +
                ec.message();
      return false;
    }
  }
  if (settings.privateKeyFile) {
    context.use_private_key_file(*settings.privateKeyFile, ssl::context::pem, ec);
    if (ec) {
      failure = "Cannot use the private key " + *settings.privateKeyFile + ": " + ec.message();
      return false;
    }
  }
  if (!settings.validatesCertificateChain) return true;
  if (settings.certificateAuthorityFile) {
    context.load_verify_file(*settings.certificateAuthorityFile, ec);
  } else {
    context.set_default_verify_paths(ec);
  }
  if (ec) {
    failure = "Cannot load the trusted certificates: " + ec.message();
    return false;
  }
  return true;
}

}  // namespace

std::shared_ptr<TLSSession> makeTLSSession(asio::generic::stream_protocol::socket& socket,
                                           Data unread, const GCDAsyncSocketTLSSettings& settings,
                                           const std::string& connectedHost, std::string& failure) {
  ssl::context context(settings.isServer ? ssl::context::tls_server : ssl::context::tls_client);
  SSL_CTX_set_min_proto_version(context.native_handle(), TLS1_2_VERSION);
  if (settings.isServer && (!settings.certificateChainFile || !settings.privateKeyFile)) {
    failure = "A TLS server needs a certificate chain and a private key";
    return nullptr;
  }
  if (!loadFiles(context, settings, failure)) return nullptr;

  ssl::verify_mode mode = ssl::verify_none;
  if (settings.validatesCertificateChain) {
    mode = ssl::verify_peer | (settings.isServer ? ssl::verify_fail_if_no_peer_cert : 0);
  }
  context.set_verify_mode(mode);

  auto session = std::make_shared<TLSSession>(std::move(context), socket, std::move(unread));
  if (!settings.isServer) {
    const std::string name = settings.peerName.value_or(connectedHost);
    if (settings.validatesCertificateChain) {
      session->stream.set_verify_callback(ssl::host_name_verification(name));
    }
    error_code notAnAddress;
    asio::ip::make_address(name, notAnAddress);
    // SNI carries host names only; an address literal is not sent.
    if (notAnAddress && !name.empty()) {
      SSL_set_tlsext_host_name(session->stream.native_handle(), name.c_str());
    }
  }
  return session;
}

std::string describeTLSFailure(TLSSession& session, const error_code& ec) {
  std::string text = "TLS handshake failed: " + ec.message();
  const long result = SSL_get_verify_result(session.stream.native_handle());
  if (result != X509_V_OK) {
    text += " (";
    text += X509_verify_cert_error_string(result);
    text += ")";
  }
  return text;
}

}  // namespace lx
