// A private session bus with a real Secret Service daemon on it, for the
// tests of the Secret Service store.
//
// The bus comes from `dbus-run-session` and lives as long as the process
// (one per process, because GLib keeps its session-bus connection for the
// process's life). Each `startDaemon()` starts a fresh
// `gnome-keyring-daemon --unlock --components=secrets` with a new, empty
// keyring, fed its password on standard input, replacing any daemon before
// it, and waits until it owns "org.freedesktop.secrets".
#pragma once

#include <fcntl.h>
#include <gio/gio.h>
#include <libsecret/secret.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <thread>

#include "support/TestSupport.h"

namespace lx::test {

class SecretServiceSession {
 public:
  /// The process's session, its bus started on first use.
  static SecretServiceSession& shared() {
    static SecretServiceSession* session = new SecretServiceSession;  // ends with the process
    return *session;
  }

  [[nodiscard]] bool busRunning() const noexcept { return !address_.empty(); }

  /// Starts a daemon with an empty, unlocked keyring in place of the
  /// current one; false when it did not come up.
  bool startDaemon() {
    if (!busRunning()) return false;
    secret_service_disconnect();  // libsecret would keep talking to the old daemon
    const std::string previousOwner = owner();
    stopOwnDaemon();
    const std::string dataHome = makeTemporaryFolder("keyring-data").string();
    int password[2];
    if (::pipe2(password, O_CLOEXEC) != 0) return false;
    daemon_ = ::fork();
    if (daemon_ == 0) {
      ::dup2(password[0], 0);
      ::close(password[1]);
      setenv("XDG_DATA_HOME", dataHome.c_str(), 1);
      const int null = ::open("/dev/null", O_WRONLY);
      ::dup2(null, 1);
      ::dup2(null, 2);
      ::execlp("gnome-keyring-daemon", "gnome-keyring-daemon", "--replace", "--foreground",
               "--unlock", "--components=secrets", static_cast<char*>(nullptr));
      ::_exit(127);
    }
    ::close(password[0]);
    const bool written = ::write(password[1], "PASSWORD", 8) == 8;
    ::close(password[1]);
    return written && waitFor([&] {
             const std::string now = owner();
             return !now.empty() && now != previousOwner;
           });
  }

  /// Stops the daemon this session started and waits until its name is gone.
  bool stopDaemon() {
    stopOwnDaemon();
    return waitFor([&] { return owner().empty(); });
  }

  /// Locks the default collection through the Secret Service's own call,
  /// which needs no prompt (unlocking would).
  bool lockDefaultCollection() {
    GVariantBuilder paths;
    g_variant_builder_init(&paths, G_VARIANT_TYPE("ao"));
    g_variant_builder_add(&paths, "o", "/org/freedesktop/secrets/aliases/default");
    GVariant* reply = call("org.freedesktop.secrets", "/org/freedesktop/secrets",
                           "org.freedesktop.Secret.Service", "Lock", g_variant_new("(ao)", &paths));
    if (reply) g_variant_unref(reply);
    return reply != nullptr;
  }

 private:
  SecretServiceSession() {
    runtimeDirectory_ = makeTemporaryFolder("keyring-runtime").string();
    setenv("XDG_RUNTIME_DIR", runtimeDirectory_.c_str(), 1);
    int toChild[2], fromChild[2];
    if (::pipe2(toChild, O_CLOEXEC) != 0 || ::pipe2(fromChild, O_CLOEXEC) != 0) return;
    const pid_t session = ::fork();
    if (session == 0) {
      ::dup2(toChild[0], 0);
      ::dup2(fromChild[1], 1);
      ::close(toChild[1]);
      ::close(fromChild[0]);
      // Reports the bus, then waits for this process's end, which closes
      // its input: the bus ends with us.
      ::execlp("dbus-run-session", "dbus-run-session", "--", "sh", "-c",
               "echo \"$DBUS_SESSION_BUS_ADDRESS\"; exec cat >/dev/null",
               static_cast<char*>(nullptr));
      ::_exit(127);
    }
    ::close(toChild[0]);
    ::close(fromChild[1]);
    FILE* output = ::fdopen(fromChild[0], "r");
    char line[4096];
    if (output && std::fgets(line, sizeof line, output)) {
      address_ = line;
      while (!address_.empty() && (address_.back() == '\n' || address_.back() == '\r')) {
        address_.pop_back();
      }
    }
    if (output) std::fclose(output);
    setenv("DBUS_SESSION_BUS_ADDRESS", address_.c_str(), 1);
    // The write end stays open until exit: closing it would end the bus.
  }

  void stopOwnDaemon() {
    if (daemon_ <= 0) return;
    ::kill(daemon_, SIGTERM);
    ::waitpid(daemon_, nullptr, 0);
    daemon_ = 0;
  }

  GVariant* call(const char* destination, const char* path, const char* interface,
                 const char* method, GVariant* arguments) {
    GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
    if (!bus) return nullptr;
    // Our bus may go away before this process does; that must not end it.
    g_dbus_connection_set_exit_on_close(bus, FALSE);
    GVariant* reply =
        g_dbus_connection_call_sync(bus, destination, path, interface, method, arguments, nullptr,
                                    G_DBUS_CALL_FLAGS_NONE, 5000, nullptr, nullptr);
    g_object_unref(bus);
    return reply;
  }

  // The unique name owning "org.freedesktop.secrets", or empty.
  std::string owner() {
    GVariant* reply = call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                           "GetNameOwner", g_variant_new("(s)", "org.freedesktop.secrets"));
    if (!reply) return {};
    const gchar* name = nullptr;
    g_variant_get(reply, "(&s)", &name);
    std::string result = name ? name : "";
    g_variant_unref(reply);
    return result;
  }

  template <class Condition>
  static bool waitFor(Condition condition) {
    for (int attempt = 0; attempt < 200; ++attempt) {
      if (condition()) return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return false;
  }

  std::string runtimeDirectory_;
  std::string address_;
  pid_t daemon_ = 0;
};

}  // namespace lx::test
