#include "vantorcore/platform/ApplicationURLReceiver.h"

#include <atomic>
#include <thread>

#include "platform/URLOpenerErrors.h"
#include "vantorcore/platform/URLSchemeHandlerRegistration.h"

namespace lx {

namespace {

using detail::gio;
using detail::glib;
using detail::gobject;

constexpr char kIntrospection[] =
    "<node><interface name='org.freedesktop.Application'>"
    "<method name='Activate'><arg type='a{sv}' name='platform_data' direction='in'/></method>"
    "<method name='Open'><arg type='as' name='uris' direction='in'/>"
    "<arg type='a{sv}' name='platform_data' direction='in'/></method>"
    "<method name='ActivateAction'><arg type='s' name='action_name' direction='in'/>"
    "<arg type='av' name='parameter' direction='in'/>"
    "<arg type='a{sv}' name='platform_data' direction='in'/></method>"
    "</interface></node>";

// The D-Bus RequestName flag and the two replies that mean "the name is ours".
constexpr guint32 kDoNotQueue = 4;
constexpr guint32 kPrimaryOwner = 1;
constexpr guint32 kAlreadyOwner = 4;

GDBusInterfaceInfo* applicationInterface() {
  static GDBusNodeInfo* const node = gio().dbus_node_info_new_for_xml(kIntrospection, nullptr);
  return node->interfaces[0];
}

}  // namespace

struct ApplicationURLReceiver::State {
  Handlers handlers;
  std::shared_ptr<DispatchQueue> queue;
  GMainContext* context = glib().main_context_new();
  std::atomic<bool> stopping{false};
  GDBusConnection* connection = nullptr;
  guint registration = 0;
  gulong closedSignal = 0;
  std::thread thread;

  ~State() {
    if (connection) {
      if (closedSignal) gobject().signal_handler_disconnect(connection, closedSignal);
      if (registration) gio().dbus_connection_unregister_object(connection, registration);
      gio().dbus_connection_close_sync(connection, nullptr, nullptr);
    }
    stopping = true;
    glib().main_context_wakeup(context);
    if (thread.joinable()) thread.join();
    if (connection) gobject().object_unref(connection);
    glib().main_context_unref(context);
  }

  static void methodCall(GDBusConnection*, const gchar*, const gchar*, const gchar*,
                         const gchar* method, GVariant* parameters,
                         GDBusMethodInvocation* invocation, gpointer data) {
    auto* state = static_cast<State*>(data);
    const std::string name = method;
    if (name == "Open") {
      const gchar** uris = nullptr;
      glib().variant_get_child(parameters, 0, "^a&s", &uris);
      for (const gchar** uri = uris; uri && *uri; ++uri) {
        if (state->handlers.openURI)
          state->queue->async(
              [handler = state->handlers.openURI, text = fromUTF8(*uri)] { handler(text); });
      }
      glib().free(uris);
      gio().dbus_method_invocation_return_value(invocation, nullptr);
    } else if (name == "Activate") {
      if (state->handlers.activate) state->queue->async(state->handlers.activate);
      gio().dbus_method_invocation_return_value(invocation, nullptr);
    } else {
      gio().dbus_method_invocation_return_dbus_error(invocation,
                                                     "org.freedesktop.DBus.Error.NotSupported",
                                                     "This application has no actions.");
    }
  }

  static void closed(GDBusConnection*, gboolean, GError*, gpointer data) {
    auto* state = static_cast<State*>(data);
    if (state->handlers.busClosed) state->queue->async(state->handlers.busClosed);
  }

  // Connects, exports and takes the name, all bound to this state's own main
  // context so that the bus thread is the one that serves them.
  bool connect(const std::string& applicationID, ErrorPtr* error) {
    GError* failure = nullptr;
    gchar* address = gio().dbus_address_get_for_bus_sync(G_BUS_TYPE_SESSION, nullptr, &failure);
    if (address) {
      connection = gio().dbus_connection_new_for_address_sync(
          address,
          static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                            G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
          nullptr, nullptr, &failure);
      glib().free(address);
    }
    if (!connection) {
      setError(error, URLOpenerError(URLOpenerErrorNoSessionBus,
                                     "There is no session bus: " + takeGErrorMessage(failure)));
      return false;
    }
    gio().dbus_connection_set_exit_on_close(connection, FALSE);
    closedSignal = detail::connectSignal(connection, "closed", G_CALLBACK(closed), this);
    static const GDBusInterfaceVTable vtable{methodCall, nullptr, nullptr, {}};
    const std::string path = toUTF8(applicationObjectPath(fromUTF8(applicationID)));
    registration = gio().dbus_connection_register_object(
        connection, path.c_str(), applicationInterface(), &vtable, this, nullptr, &failure);
    if (!registration) {
      setError(error, URLOpenerError(URLOpenerErrorLaunchFailed, takeGErrorMessage(failure)));
      return false;
    }
    GVariant* reply = gio().dbus_connection_call_sync(
        connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "RequestName", glib().variant_new("(su)", applicationID.c_str(), kDoNotQueue),
        glib().variant_type_checked_("(u)"), G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &failure);
    if (!reply) {
      setError(error, URLOpenerError(URLOpenerErrorLaunchFailed, takeGErrorMessage(failure)));
      return false;
    }
    guint32 answer = 0;
    glib().variant_get(reply, "(u)", &answer);
    glib().variant_unref(reply);
    if (answer != kPrimaryOwner && answer != kAlreadyOwner) {
      setError(error, URLOpenerError(URLOpenerErrorNameTaken,
                                     "Another process owns the bus name “" + applicationID + "”."));
      return false;
    }
    return true;
  }
};

std::unique_ptr<ApplicationURLReceiver> ApplicationURLReceiver::start(
    StringView applicationID, Handlers handlers, std::shared_ptr<DispatchQueue> queue,
    ErrorPtr* error) {
  if (!isValidApplicationID(applicationID)) {
    setError(error,
             URLOpenerError(URLOpenerErrorLaunchFailed,
                            "“" + toUTF8(applicationID) + "” is not a valid application ID."));
    return nullptr;
  }
  if (const std::string& missing = detail::gioLoadError(); !missing.empty()) {
    setError(error,
             URLOpenerError(URLOpenerErrorNoSessionBus, "There is no session bus: " + missing));
    return nullptr;
  }
  auto state = std::make_unique<State>();
  state->handlers = std::move(handlers);
  state->queue = std::move(queue);
  glib().main_context_push_thread_default(state->context);
  const bool connected = state->connect(toUTF8(applicationID), error);
  glib().main_context_pop_thread_default(state->context);
  if (!connected) return nullptr;
  state->thread = std::thread([raw = state.get()] {
    glib().main_context_push_thread_default(raw->context);
    while (!raw->stopping) glib().main_context_iteration(raw->context, TRUE);
    glib().main_context_pop_thread_default(raw->context);
  });
  return std::unique_ptr<ApplicationURLReceiver>(new ApplicationURLReceiver(std::move(state)));
}

ApplicationURLReceiver::ApplicationURLReceiver(std::unique_ptr<State> state)
    : state_(std::move(state)) {}

ApplicationURLReceiver::~ApplicationURLReceiver() = default;

}  // namespace lx
