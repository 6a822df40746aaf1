#include "vantorcore/platform/ApplicationURLReceiver.h"

#include <gio/gio.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <condition_variable>
#include <mutex>

#include "support/TestSupport.h"
#include "vantorcore/platform/URLOpener.h"

namespace lx {
namespace {

// A private session bus for one test: dbus-daemon in a child process.
class PrivateBus {
 public:
  PrivateBus() {
    int pipeFds[2];
    if (pipe(pipeFds) != 0) return;
    pid_ = fork();
    if (pid_ == 0) {
      dup2(pipeFds[1], STDOUT_FILENO);
      close(pipeFds[0]);
      execlp("dbus-daemon", "dbus-daemon", "--session", "--nofork", "--print-address=1",
             static_cast<char*>(nullptr));
      _exit(127);
    }
    close(pipeFds[1]);
    char buffer[512];
    const ssize_t n = read(pipeFds[0], buffer, sizeof buffer - 1);
    close(pipeFds[0]);
    if (n > 0) address_.assign(buffer, static_cast<std::size_t>(n));
    while (!address_.empty() && address_.back() == '\n') address_.pop_back();
  }
  ~PrivateBus() {
    if (pid_ > 0) {
      kill(pid_, SIGTERM);
      waitpid(pid_, nullptr, 0);
    }
  }
  PrivateBus(const PrivateBus&) = delete;
  PrivateBus& operator=(const PrivateBus&) = delete;

  [[nodiscard]] const std::string& address() const { return address_; }

 private:
  pid_t pid_ = -1;
  std::string address_;
};

// What the receiver delivered, waited for across threads.
class Deliveries {
 public:
  void add(std::string what) {
    const std::lock_guard lock(mutex_);
    items_.push_back(std::move(what));
    changed_.notify_all();
  }
  std::vector<std::string> waitFor(std::size_t count) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, std::chrono::seconds(20), [&] { return items_.size() >= count; });
    return items_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::string> items_;
};

GVariant* callApplication(GDBusConnection* bus, const char* method, GVariant* parameters,
                          std::string* errorText) {
  GError* error = nullptr;
  GVariant* reply = g_dbus_connection_call_sync(
      bus, "org.example.Receiver", "/org/example/Receiver", "org.freedesktop.Application", method,
      parameters, nullptr, G_DBUS_CALL_FLAGS_NONE, 10000, nullptr, &error);
  if (error) {
    *errorText = error->message;
    g_error_free(error);
  }
  return reply;
}

TEST(ApplicationURLReceiver, ServesOpenAndActivateOnTheBus) {
  const PrivateBus bus;
  ASSERT_FALSE(bus.address().empty()) << "dbus-daemon did not start";
  const test::ScopedEnvironmentVariable address("DBUS_SESSION_BUS_ADDRESS", bus.address());
  Deliveries deliveries;
  ErrorPtr error;
  const auto receiver =
      ApplicationURLReceiver::start(u"org.example.Receiver",
                                    {[&](const String& uri) { deliveries.add(toUTF8(uri)); },
                                     [&] { deliveries.add("activate"); }, nullptr},
                                    DispatchQueue::makeSerial(u"receiver-test"), &error);
  ASSERT_TRUE(receiver) << toUTF8(error->localizedDescription());

  EXPECT_FALSE(
      ApplicationURLReceiver::start(u"org.example.Receiver", {}, DispatchQueue::main(), &error));
  EXPECT_EQ(error->code(), URLOpenerErrorNameTaken);

  GDBusConnection* client = g_dbus_connection_new_for_address_sync(
      bus.address().c_str(),
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
      nullptr, nullptr, nullptr);
  ASSERT_TRUE(client);
  const char* uris[] = {"notes://a?x=%20", "notes://b", nullptr};
  std::string errorText;
  GVariant* reply =
      callApplication(client, "Open", g_variant_new("(^asa{sv})", uris, nullptr), &errorText);
  ASSERT_TRUE(reply) << errorText;
  g_variant_unref(reply);
  reply = callApplication(client, "Activate", g_variant_new("(a{sv})", nullptr), &errorText);
  ASSERT_TRUE(reply) << errorText;
  g_variant_unref(reply);
  EXPECT_FALSE(callApplication(client, "ActivateAction",
                               g_variant_new("(sava{sv})", "x", nullptr, nullptr), &errorText));
  EXPECT_NE(errorText.find("no actions"), std::string::npos) << errorText;
  EXPECT_EQ(deliveries.waitFor(3),
            (std::vector<std::string>{"notes://a?x=%20", "notes://b", "activate"}));
  g_object_unref(client);
}

TEST(ApplicationURLReceiver, RefusesWithoutABusOrAValidID) {
  const auto folder = test::makeTemporaryFolder("nobus");
  const test::ScopedEnvironmentVariable address("DBUS_SESSION_BUS_ADDRESS",
                                                "unix:path=" + (folder / "none").string());
  const struct {
    const char16_t* id;
    URLOpenerErrorCode code;
  } rows[] = {
      {u"org.example.Receiver", URLOpenerErrorNoSessionBus},
      {u"receiver", URLOpenerErrorLaunchFailed},
  };
  for (const auto& row : rows) {
    ErrorPtr error;
    EXPECT_FALSE(ApplicationURLReceiver::start(row.id, {}, DispatchQueue::main(), &error));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain(), URLOpenerErrorDomain);
    EXPECT_EQ(error->code(), row.code);
  }
}

}  // namespace
}  // namespace lx
