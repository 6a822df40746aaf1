#include "vantorcore/platform/GIOURLOpener.h"

#include "platform/URLOpenerErrors.h"

namespace lx {

using detail::gio;
using detail::gobject;

bool GIOURLOpener::openURL(const URL& url, ErrorPtr* error) {
  const std::string scheme = toUTF8(lowercaseString(url.scheme().value_or(u"")));
  if (const std::string& missing = detail::gioLoadError(); !missing.empty()) {
    setError(error, URLOpenerError(URLOpenerErrorNoHandler,
                                   "No application can be asked to open URLs of the scheme “" +
                                       scheme + "”: " + missing));
    return false;
  }
  GAppInfo* application =
      scheme.empty() ? nullptr : gio().app_info_get_default_for_uri_scheme(scheme.c_str());
  if (!application) {
    setError(error, URLOpenerError(
                        URLOpenerErrorNoHandler,
                        "No application is registered for URLs of the scheme “" + scheme + "”."));
    return false;
  }
  const bool activatable = detail::isDesktopAppInfo(application) &&
                           gio().desktop_app_info_get_boolean(
                               reinterpret_cast<GDesktopAppInfo*>(application), "DBusActivatable");
  GDBusConnection* bus = nullptr;
  if (activatable) {
    // Without a bus GIO would quietly fall back to starting the program,
    // which could never take its bus name; say why instead.
    GError* busError = nullptr;
    bus = gio().bus_get_sync(G_BUS_TYPE_SESSION, nullptr, &busError);
    if (!bus) {
      setError(error, URLOpenerError(URLOpenerErrorNoSessionBus,
                                     "There is no session bus to reach “" +
                                         std::string(gio().app_info_get_id(application)) +
                                         "”: " + takeGErrorMessage(busError)));
      gobject().object_unref(application);
      return false;
    }
  }
  GList uris{const_cast<char*>(url.absoluteUTF8().c_str()), nullptr, nullptr};
  GError* launchError = nullptr;
  const bool launched = gio().app_info_launch_uris(application, &uris, nullptr, &launchError);
  if (!launched) {
    setError(error,
             URLOpenerError(URLOpenerErrorLaunchFailed,
                            "“" + std::string(gio().app_info_get_id(application)) +
                                "” could not be started: " + takeGErrorMessage(launchError)));
  }
  if (bus) {
    // GIO sends Open without waiting for a reply; make sure it has left
    // before the caller may exit.
    gio().dbus_connection_flush_sync(bus, nullptr, nullptr);
    gobject().object_unref(bus);
  }
  gobject().object_unref(application);
  return launched;
}

}  // namespace lx
