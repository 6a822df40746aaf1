#include "vantorcore/platform/GIOURLOpener.h"

#include <gio/gdesktopappinfo.h>
#include <gio/gio.h>

#include "platform/URLOpenerErrors.h"

namespace lx {

bool GIOURLOpener::openURL(const URL& url, ErrorPtr* error) {
  const std::string scheme = toUTF8(lowercaseString(url.scheme().value_or(u"")));
  GAppInfo* application =
      scheme.empty() ? nullptr : g_app_info_get_default_for_uri_scheme(scheme.c_str());
  if (!application) {
    setError(error, URLOpenerError(
                        URLOpenerErrorNoHandler,
                        "No application is registered for URLs of the scheme “" + scheme + "”."));
    return false;
  }
  const bool activatable =
      G_IS_DESKTOP_APP_INFO(application) &&
      g_desktop_app_info_get_boolean(G_DESKTOP_APP_INFO(application), "DBusActivatable");
  GDBusConnection* bus = nullptr;
  if (activatable) {
    // Without a bus GIO would quietly fall back to starting the program,
    // which could never take its bus name; say why instead.
    GError* busError = nullptr;
    bus = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, &busError);
    if (!bus) {
      setError(error, URLOpenerError(URLOpenerErrorNoSessionBus,
                                     "There is no session bus to reach “" +
                                         std::string(g_app_info_get_id(application)) +
                                         "”: " + takeGErrorMessage(busError)));
      g_object_unref(application);
      return false;
    }
  }
  GList uris{const_cast<char*>(url.absoluteUTF8().c_str()), nullptr, nullptr};
  GError* launchError = nullptr;
  const bool launched = g_app_info_launch_uris(application, &uris, nullptr, &launchError);
  if (!launched) {
    setError(error,
             URLOpenerError(URLOpenerErrorLaunchFailed,
                            "“" + std::string(g_app_info_get_id(application)) +
                                "” could not be started: " + takeGErrorMessage(launchError)));
  }
  if (bus) {
    // GIO sends Open without waiting for a reply; make sure it has left
    // before the caller may exit.
    g_dbus_connection_flush_sync(bus, nullptr, nullptr);
    g_object_unref(bus);
  }
  g_object_unref(application);
  return launched;
}

}  // namespace lx
