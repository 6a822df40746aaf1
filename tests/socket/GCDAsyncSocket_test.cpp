#include "vantorcore/socket/GCDAsyncSocket.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <filesystem>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "support/TestCertificateAuthority.h"
#include "support/TestSupport.h"

namespace lx {
namespace {

using namespace std::chrono_literals;

struct Event {
  enum Kind { Connected, Accepted, Read, Wrote, Secured, Disconnected } kind;
  std::string data = {};
  long tag = 0;
  ErrorPtr error = nullptr;
  std::shared_ptr<GCDAsyncSocket> accepted = nullptr;
};

// Records every event under a lock; tests wait (bounded) for the ones they
// expect.
class Recorder : public GCDAsyncSocketDelegate {
 public:
  void didConnectToHost(GCDAsyncSocket&, const String&, std::uint16_t) override {
    add({Event::Connected});
  }
  void didConnectToUrl(GCDAsyncSocket&, const URL&) override { add({Event::Connected}); }
  void didAcceptNewSocket(GCDAsyncSocket&, std::shared_ptr<GCDAsyncSocket> s) override {
    add({Event::Accepted, {}, 0, nullptr, std::move(s)});
  }
  void didReadData(GCDAsyncSocket&, const Data& data, long tag) override {
    add({Event::Read, std::string(asStringView(data)), tag});
  }
  void didWriteData(GCDAsyncSocket&, long tag) override { add({Event::Wrote, {}, tag}); }
  void didSecure(GCDAsyncSocket&) override { add({Event::Secured}); }
  void socketDidDisconnect(GCDAsyncSocket&, const ErrorPtr& error) override {
    add({Event::Disconnected, {}, 0, error});
  }

  // The `n`th event of `kind` (1-based), waiting up to 10 s; fails the test
  // when it does not come.
  Event waitFor(Event::Kind kind, int n = 1) { return waitForNth({kind}, n); }
  // The first event of any of `kinds`, waiting up to 10 s.
  Event waitForFirst(std::initializer_list<Event::Kind> kinds) { return waitForNth(kinds, 1); }
  int count(Event::Kind kind) {
    std::lock_guard lock(mutex_);
    return static_cast<int>(std::count_if(events_.begin(), events_.end(),
                                          [&](const Event& e) { return e.kind == kind; }));
  }
  std::vector<Event> events() {
    std::lock_guard lock(mutex_);
    return events_;
  }

 private:
  Event waitForNth(std::initializer_list<Event::Kind> kinds, int n) {
    std::unique_lock lock(mutex_);
    Event found{Event::Kind(-1)};
    const bool ok = changed_.wait_for(lock, 10s, [&] {
      int seen = 0;
      for (const auto& e : events_) {
        if (std::find(kinds.begin(), kinds.end(), e.kind) != kinds.end() && ++seen == n) {
          found = e;
          return true;
        }
      }
      return false;
    });
    EXPECT_TRUE(ok) << "event " << *kinds.begin() << " #" << n << " did not come";
    return found;
  }
  void add(Event e) {
    std::lock_guard lock(mutex_);
    events_.push_back(std::move(e));
    changed_.notify_all();
  }
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Event> events_;
};

std::string readsOf(const std::vector<Event>& events) {
  std::string out;
  for (const auto& e : events) {
    if (e.kind == Event::Read) out += std::to_string(e.tag) + ":" + e.data + "|";
  }
  return out;
}

// A listener, a client connected to it and the accepted peer, each with its
// own recorder on a serial queue.
class SocketTest : public ::testing::TestWithParam<bool> {
 protected:
  void SetUp() override { queue_ = DispatchQueue::makeSerial(u"socket.test"); }

  std::shared_ptr<GCDAsyncSocket> make(const std::shared_ptr<Recorder>& r) {
    return GCDAsyncSocket::initWithDelegate(r, queue_);
  }

  // Starts listening over TCP (`local` false) or a local-domain socket.
  void listen(bool local) {
    listener = make(serverEvents);
    ErrorPtr error;
    if (local) {
      url = URL::fileURLWithPath(fromUTF8((test::makeTemporaryFolder("sock") / "s").string()));
      ASSERT_TRUE(listener->acceptOnUrl(*url, &error)) << toUTF8(error->description());
    } else {
      ASSERT_TRUE(listener->acceptOnInterface(u"127.0.0.1", 0, &error));
      ASSERT_NE(listener->localPort(), 0);
    }
  }

  bool connect(const std::shared_ptr<GCDAsyncSocket>& socket, ErrorPtr* error = nullptr) {
    return url ? socket->connectToUrl(*url, 5, error)
               : socket->connectToHost(u"127.0.0.1", listener->localPort(), 5, error);
  }

  // A new pair with new recorders, for each row of a table.
  void reconnectPair(bool local) {
    serverEvents = std::make_shared<Recorder>();
    clientEvents = std::make_shared<Recorder>();
    peerEvents = std::make_shared<Recorder>();
    url.reset();
    connectPair(local);
  }

  void connectPair(bool local) {
    ASSERT_NO_FATAL_FAILURE(listen(local));
    client = make(clientEvents);
    ASSERT_TRUE(connect(client));
    peer = serverEvents->waitFor(Event::Accepted).accepted;
    ASSERT_TRUE(peer);
    peer->setDelegate(peerEvents);
    clientEvents->waitFor(Event::Connected);
  }

  std::shared_ptr<DispatchQueue> queue_;
  std::shared_ptr<Recorder> serverEvents = std::make_shared<Recorder>();
  std::shared_ptr<Recorder> clientEvents = std::make_shared<Recorder>();
  std::shared_ptr<Recorder> peerEvents = std::make_shared<Recorder>();
  std::optional<URL> url;
  std::shared_ptr<GCDAsyncSocket> listener, client, peer;
};

INSTANTIATE_TEST_SUITE_P(Transports, SocketTest, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "Local" : "TCP"; });

TEST_P(SocketTest, EchoRoundTrip) {
  ASSERT_NO_FATAL_FAILURE(connectPair(GetParam()));
  EXPECT_TRUE(client->isConnected());
  client->writeData(dataFromBytes("hello"), 5, 1);
  peer->readDataToLength(5, 5, 2);
  EXPECT_EQ(peerEvents->waitFor(Event::Read).data, "hello");
  EXPECT_EQ(clientEvents->waitFor(Event::Wrote).tag, 1);
  peer->writeData(dataFromBytes("olleh"), 5, 3);
  client->readData(5, 4);
  EXPECT_EQ(clientEvents->waitFor(Event::Read).data, "olleh");
}

// Reads are served in order from what arrived, however it was split; bytes
// beyond a read wait for the next one.
TEST_P(SocketTest, QueuedReadsAcrossSplitWrites) {
  struct Case {
    const char* name;
    std::vector<std::string> writes;
    std::function<void(GCDAsyncSocket&)> reads;
    std::string expected;
  };
  const Data crlf = dataFromBytes("\r\n");
  const Case cases[] = {
      {"length across writes",
       {"ab", "cd", "e"},
       [](GCDAsyncSocket& s) { s.readDataToLength(5, -1, 1); },
       "1:abcde|"},
      {"delimiter split over writes",
       {"one\r", "\ntwo\r\n"},
       [&](GCDAsyncSocket& s) {
         s.readDataToData(crlf, -1, 1);
         s.readDataToData(crlf, -1, 2);
       },
       "1:one\r\n|2:two\r\n|"},
      {"surplus kept for later reads",
       {"Content-Length: 2\r\n\r\n{}"},
       [&](GCDAsyncSocket& s) {
         s.readDataToData(crlf, -1, 1);
         s.readDataToData(crlf, -1, 2);
         s.readDataToLength(2, -1, 3);
       },
       "1:Content-Length: 2\r\n|2:\r\n|3:{}|"},
      {"length then anything",
       {"xyz", "123"},
       [](GCDAsyncSocket& s) {
         s.readDataToLength(2, -1, 7);
         s.readDataToLength(4, -1, 8);
       },
       "7:xy|8:z123|"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ASSERT_NO_FATAL_FAILURE(reconnectPair(GetParam()));
    c.reads(*peer);
    for (std::size_t i = 0; i < c.writes.size(); ++i) {
      client->writeData(dataFromBytes(c.writes[i]), -1, static_cast<long>(i));
      clientEvents->waitFor(Event::Wrote, static_cast<int>(i) + 1);
    }
    const int expectedReads =
        static_cast<int>(std::count(c.expected.begin(), c.expected.end(), '|'));
    peerEvents->waitFor(Event::Read, expectedReads);
    EXPECT_EQ(readsOf(peerEvents->events()), c.expected);
  }
}

TEST_P(SocketTest, PeerCloseDeliversBufferedDataThenClosedError) {
  ASSERT_NO_FATAL_FAILURE(connectPair(GetParam()));
  client->readDataToLength(3, -1, 1);
  client->readDataToLength(10, -1, 2);
  peer->writeData(dataFromBytes("xyz"), -1, 0);
  peer->disconnectAfterWriting();
  Event closed = clientEvents->waitFor(Event::Disconnected);
  ASSERT_TRUE(closed.error);
  EXPECT_EQ(closed.error->domain(), GCDAsyncSocketErrorDomain);
  EXPECT_EQ(closed.error->code(), GCDAsyncSocketClosedError);
  EXPECT_EQ(readsOf(clientEvents->events()), "1:xyz|");
  // The orderly side reports no error.
  EXPECT_EQ(peerEvents->waitFor(Event::Disconnected).error, nullptr);
  EXPECT_TRUE(client->isDisconnected());
}

TEST_P(SocketTest, DisconnectAfterReadingAndWritingFlushesQueuedWrites) {
  ASSERT_NO_FATAL_FAILURE(connectPair(GetParam()));
  const std::string block(256 * 1024, 'q');
  for (long tag = 1; tag <= 3; ++tag) client->writeData(dataFromBytes(block), -1, tag);
  client->disconnectAfterReadingAndWriting();
  client->writeData(dataFromBytes("ignored after the disconnect request"), -1, 9);
  peer->readDataToLength(3 * block.size(), -1, 1);
  EXPECT_EQ(peerEvents->waitFor(Event::Read).data.size(), 3 * block.size());
  EXPECT_EQ(clientEvents->waitFor(Event::Disconnected).error, nullptr);
  std::vector<long> tags;
  for (const auto& e : clientEvents->events()) {
    if (e.kind == Event::Wrote) tags.push_back(e.tag);
  }
  EXPECT_EQ(tags, (std::vector<long>{1, 2, 3}));
}

TEST_P(SocketTest, DisconnectReportsOnceAfterTheConnectEvent) {
  ASSERT_NO_FATAL_FAILURE(listen(GetParam()));
  client = make(clientEvents);
  client->disconnect();  // never connected: nothing to report
  ASSERT_TRUE(connect(client));
  clientEvents->waitFor(Event::Connected);
  client->readData(-1, 1);
  client->disconnect();
  client->disconnect();
  Event closed = clientEvents->waitFor(Event::Disconnected);
  EXPECT_EQ(closed.error, nullptr);
  // A fresh connection on the same socket, to flush anything still queued.
  ASSERT_TRUE(connect(client));
  clientEvents->waitFor(Event::Connected, 2);
  auto events = clientEvents->events();
  ASSERT_EQ(events.size(), 3u);
  EXPECT_EQ(events[0].kind, Event::Connected);
  EXPECT_EQ(events[1].kind, Event::Disconnected);
}

TEST_P(SocketTest, DestroyingTheSocketClosesItSilently) {
  ASSERT_NO_FATAL_FAILURE(connectPair(GetParam()));
  client->readData(-1, 1);
  peer->readData(-1, 1);
  client.reset();
  EXPECT_EQ(peerEvents->waitFor(Event::Disconnected).error->code(), GCDAsyncSocketClosedError);
  EXPECT_EQ(clientEvents->count(Event::Disconnected), 0);
}

TEST_P(SocketTest, LimitsAndTimeOutsEndTheConnection) {
  struct Case {
    const char* name;
    std::function<void(GCDAsyncSocket&)> start;
    GCDAsyncSocketError code;
  };
  const Case cases[] = {
      {"delimiter beyond max length",
       [](GCDAsyncSocket& s) { s.readDataToData(dataFromBytes("\n"), -1, 1, 4); },
       GCDAsyncSocketReadMaxedOutError},
      {"read time-out", [](GCDAsyncSocket& s) { s.readDataToLength(100, 0.05, 1); },
       GCDAsyncSocketReadTimeoutError},
      // The peer reads nothing, so the kernel buffers fill long before this
      // much is written.
      {"write time-out", [](GCDAsyncSocket& s) { s.writeData(Data(32 << 20, 'w'), 0.05, 1); },
       GCDAsyncSocketWriteTimeoutError},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ASSERT_NO_FATAL_FAILURE(reconnectPair(GetParam()));
    c.start(*client);
    peer->writeData(dataFromBytes("abcdef\n"), -1, 0);
    Event closed = clientEvents->waitFor(Event::Disconnected);
    ASSERT_TRUE(closed.error);
    EXPECT_EQ(closed.error->code(), c.code);
    EXPECT_EQ(clientEvents->count(Event::Read), 0);
  }
}

TEST(GCDAsyncSocket, CallsThatFailAtOnce) {
  auto queue = DispatchQueue::makeSerial(u"socket.test");
  auto events = std::make_shared<Recorder>();
  auto listener = GCDAsyncSocket::initWithDelegate(events, queue);
  ASSERT_TRUE(listener->acceptOnInterface(u"localhost", 0));
  struct Case {
    const char* name;
    std::function<bool(ErrorPtr*)> call;
    GCDAsyncSocketError code;
  };
  auto fresh = GCDAsyncSocket::initWithDelegate(events, queue);
  const Case cases[] = {
      {"empty host", [&](ErrorPtr* e) { return fresh->connectToHost(u"", 80, -1, e); },
       GCDAsyncSocketBadParamError},
      {"non-file URL",
       [&](ErrorPtr* e) {
         return fresh->connectToUrl(*URL::URLWithString(u"http://example.com/x"), -1, e);
       },
       GCDAsyncSocketBadParamError},
      {"listening socket connects",
       [&](ErrorPtr* e) { return listener->connectToHost(u"127.0.0.1", 1, -1, e); },
       GCDAsyncSocketBadConfigError},
      {"listening socket listens again", [&](ErrorPtr* e) { return listener->acceptOnPort(0, e); },
       GCDAsyncSocketBadConfigError},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ErrorPtr error;
    EXPECT_FALSE(c.call(&error));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain(), GCDAsyncSocketErrorDomain);
    EXPECT_EQ(error->code(), c.code);
    EXPECT_FALSE(error->localizedDescription().empty());
    EXPECT_FALSE(c.call(nullptr));  // no error slot is fine
  }
  EXPECT_TRUE(fresh->isDisconnected());
}

TEST(GCDAsyncSocket, RefusedConnectionCarriesThePosixError) {
  auto queue = DispatchQueue::makeSerial(u"socket.test");
  auto events = std::make_shared<Recorder>();
  // A port that was free a moment ago: listen, note it, close (and wait
  // for the close, which happens on the socket's own strand).
  auto probe = GCDAsyncSocket::initWithDelegate(events, queue);
  ASSERT_TRUE(probe->acceptOnInterface(u"127.0.0.1", 0));
  const std::uint16_t port = probe->localPort();
  probe->disconnect();
  events->waitFor(Event::Disconnected);
  auto client = GCDAsyncSocket::initWithDelegate(events, queue);
  ASSERT_TRUE(client->connectToHost(u"127.0.0.1", port, 5));
  Event closed = events->waitFor(Event::Disconnected, 2);
  ASSERT_TRUE(closed.error);
  EXPECT_EQ(closed.error->code(), GCDAsyncSocketOtherError);
  EXPECT_EQ(toUTF8(closed.error->localizedDescription()), "Connection refused");
  auto underlying = closed.error->userInfo()[NSUnderlyingErrorKey].objectAs<Error>();
  ASSERT_TRUE(underlying);
  EXPECT_EQ(underlying->domain(), NSPOSIXErrorDomain);
  EXPECT_EQ(underlying->code(), ECONNREFUSED);
  EXPECT_EQ(events->count(Event::Connected), 0);
}

TEST(GCDAsyncSocket, ConnectTimeOut) {
  auto queue = DispatchQueue::makeSerial(u"socket.test");
  auto events = std::make_shared<Recorder>();
  // A listener with a full accept queue drops further connection requests,
  // so a connect neither succeeds nor fails. Kernels told to reset instead
  // answer at once, and then there is nothing to test.
  const int server = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  ASSERT_EQ(::bind(server, reinterpret_cast<sockaddr*>(&address), size), 0);
  ASSERT_EQ(::listen(server, 0), 0);
  ASSERT_EQ(::getsockname(server, reinterpret_cast<sockaddr*>(&address), &size), 0);
  const int filler = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0);
  ::connect(filler, reinterpret_cast<sockaddr*>(&address), size);

  auto client = GCDAsyncSocket::initWithDelegate(events, queue);
  ASSERT_TRUE(client->connectToHost(u"127.0.0.1", ntohs(address.sin_port), 0.2));
  Event first = events->waitForFirst({Event::Connected, Event::Disconnected});
  ::close(filler);
  ::close(server);
  if (first.kind != Event::Disconnected || !first.error ||
      first.error->code() != GCDAsyncSocketConnectTimeoutError) {
    GTEST_SKIP() << "the connection was answered at once";
  }
  EXPECT_EQ(toUTF8(first.error->localizedDescription()), "Attempt to connect to host timed out");
  EXPECT_TRUE(client->isDisconnected());
  EXPECT_EQ(events->count(Event::Disconnected), 1);
}

TEST(GCDAsyncSocket, LocalListenerReplacesStaleSocketFileOnly) {
  auto queue = DispatchQueue::makeSerial(u"socket.test");
  auto events = std::make_shared<Recorder>();
  const auto folder = test::makeTemporaryFolder("sock");
  // A socket file left behind by a process that died while listening.
  const auto stale = folder / "stale";
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strcpy(address.sun_path, stale.c_str());
  const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
  ASSERT_EQ(::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  ::close(fd);
  ASSERT_TRUE(std::filesystem::is_socket(stale));

  auto listener = GCDAsyncSocket::initWithDelegate(events, queue);
  ErrorPtr error;
  ASSERT_TRUE(listener->acceptOnUrl(URL::fileURLWithPath(fromUTF8(stale.string())), &error));
  EXPECT_EQ(listener->connectedUrl(), URL::fileURLWithPath(fromUTF8(stale.string())));

  // A regular file in the way is not ours to delete.
  const auto regular = folder / "regular";
  test::writeFile(regular, "keep");
  auto other = GCDAsyncSocket::initWithDelegate(events, queue);
  EXPECT_FALSE(other->acceptOnUrl(URL::fileURLWithPath(fromUTF8(regular.string())), &error));
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code(), GCDAsyncSocketOtherError);
  EXPECT_EQ(test::readFile(regular), "keep");

  listener->disconnect();
  events->waitFor(Event::Disconnected);
  EXPECT_FALSE(std::filesystem::exists(stale));
}

// ---- TLS --------------------------------------------------------------------

// An authority's certificate and an identity it issued for `host`, in PEM files.
struct Credentials {
  std::string authority, certificate, key;
};

Credentials makeCredentials(const std::string& host) {
  const auto folder = test::makeTemporaryFolder("tls");
  const test::TestCertificateAuthority authority;
  const test::TLSIdentity identity = authority.issue(host);
  const Credentials out{(folder / "ca.pem").string(), (folder / "cert.pem").string(),
                        (folder / "key.pem").string()};
  test::writeFile(out.authority, authority.certificatePEM());
  test::writeFile(out.certificate, identity.certificateChainPEM);
  test::writeFile(out.key, identity.privateKeyPEM);
  return out;
}

TEST_F(SocketTest, TLSVerifiesTheServer) {
  // Without a peer name the connected address is what is checked.
  struct Case {
    const char* name;
    const char* issuedFor;
    bool trustOurCertificate;
    std::optional<std::string> peerName;
    bool succeeds;
  };
  const Case cases[] = {
      {"trusted by the authority file", "127.0.0.1", true, std::nullopt, true},
      {"trusted, host name checked", "localhost", true, "localhost", true},
      {"not in the system store", "127.0.0.1", false, std::nullopt, false},
      {"wrong host name", "localhost", true, "example.com", false},
      {"the address is checked", "localhost", true, std::nullopt, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const Credentials creds = makeCredentials(c.issuedFor);
    ASSERT_NO_FATAL_FAILURE(reconnectPair(false));
    GCDAsyncSocketTLSSettings server;
    server.isServer = true;
    server.validatesCertificateChain = false;
    server.certificateChainFile = creds.certificate;
    server.privateKeyFile = creds.key;
    // Plain bytes before the handshake are read as such.
    peer->readDataToLength(5, -1, 1);
    peer->startTLS(server);
    GCDAsyncSocketTLSSettings clientSettings;
    clientSettings.peerName = c.peerName;
    if (c.trustOurCertificate) clientSettings.certificateAuthorityFile = creds.authority;
    client->writeData(dataFromBytes("plain"), -1, 1);
    client->startTLS(clientSettings);
    if (c.succeeds) {
      clientEvents->waitForFirst({Event::Secured, Event::Disconnected});
      EXPECT_TRUE(client->isSecure());
      client->writeData(dataFromBytes("secret"), -1, 2);
      peer->readDataToLength(6, -1, 2);
      peerEvents->waitFor(Event::Read, 2);
      EXPECT_EQ(readsOf(peerEvents->events()), "1:plain|2:secret|");
      EXPECT_EQ(peerEvents->count(Event::Secured), 1);
    } else {
      Event closed = clientEvents->waitFor(Event::Disconnected);
      ASSERT_TRUE(closed.error);
      EXPECT_EQ(closed.error->code(), GCDAsyncSocketTLSError);
      EXPECT_NE(toUTF8(closed.error->localizedDescription()).find("certificate verify failed"),
                std::string::npos)
          << toUTF8(closed.error->localizedDescription());
      EXPECT_EQ(clientEvents->count(Event::Secured), 0);
    }
    client->disconnect();
  }
}

TEST_F(SocketTest, TLSServerWithoutCertificateFails) {
  ASSERT_NO_FATAL_FAILURE(connectPair(false));
  GCDAsyncSocketTLSSettings server;
  server.isServer = true;
  peer->startTLS(server);
  Event closed = peerEvents->waitFor(Event::Disconnected);
  ASSERT_TRUE(closed.error);
  EXPECT_EQ(closed.error->code(), GCDAsyncSocketTLSError);
}

}  // namespace
}  // namespace lx
