// GLib, GObject, GIO and libsecret, each opened on first use (see
// SharedLibrary.h): together with the libraries behind them they are a
// dozen shared objects that a process which never opens a URL in another
// application or touches the Secret Service should not map. Call sites
// write `gio().app_info_get_id(...)` where they would write
// `g_app_info_get_id(...)`; only the headers' declarations are compiled in.
#pragma once

#include <gio/gdesktopappinfo.h>
#include <gio/gio.h>
#if VANTOR_HAVE_LIBSECRET
#include <libsecret/secret.h>
#endif

#include <string>

#include "SharedLibrary.h"

namespace lx::detail {

// clang-format off
#define LX_GLIB_FUNCTIONS(X) \
  X(g_, free) \
  X(g_, strdup) \
  X(g_, strfreev) \
  X(g_, clear_error) \
  X(g_, error_free) \
  X(g_, list_free) \
  X(g_, str_hash) \
  X(g_, str_equal) \
  X(g_, hash_table_new_full) \
  X(g_, hash_table_insert) \
  X(g_, hash_table_lookup) \
  X(g_, hash_table_unref) \
  X(g_, base64_encode) \
  X(g_, base64_decode) \
  X(g_, key_file_new) \
  X(g_, key_file_free) \
  X(g_, key_file_load_from_file) \
  X(g_, key_file_to_data) \
  X(g_, key_file_get_keys) \
  X(g_, key_file_get_string_list) \
  X(g_, key_file_set_string_list) \
  X(g_, key_file_remove_key) \
  X(g_, main_context_new) \
  X(g_, main_context_unref) \
  X(g_, main_context_wakeup) \
  X(g_, main_context_iteration) \
  X(g_, main_context_push_thread_default) \
  X(g_, main_context_pop_thread_default) \
  X(g_, variant_new) \
  X(g_, variant_get) \
  X(g_, variant_get_child) \
  X(g_, variant_unref) \
  X(g_, variant_type_checked_)

#define LX_GOBJECT_FUNCTIONS(X) \
  X(g_, object_unref) \
  X(g_, type_check_instance_is_a) \
  X(g_, signal_connect_data) \
  X(g_, signal_handler_disconnect)

#define LX_GIO_FUNCTIONS(X) \
  X(g_, app_info_get_default_for_uri_scheme) \
  X(g_, app_info_get_id) \
  X(g_, app_info_launch_uris) \
  X(g_, desktop_app_info_get_type) \
  X(g_, desktop_app_info_get_boolean) \
  X(g_, bus_get_sync) \
  X(g_, dbus_address_get_for_bus_sync) \
  X(g_, dbus_node_info_new_for_xml) \
  X(g_, dbus_connection_new_for_address_sync) \
  X(g_, dbus_connection_set_exit_on_close) \
  X(g_, dbus_connection_register_object) \
  X(g_, dbus_connection_unregister_object) \
  X(g_, dbus_connection_call_sync) \
  X(g_, dbus_connection_flush_sync) \
  X(g_, dbus_connection_close_sync) \
  X(g_, dbus_method_invocation_return_value) \
  X(g_, dbus_method_invocation_return_dbus_error)

#define LX_SECRET_FUNCTIONS(X) \
  X(secret_, error_get_quark) \
  X(secret_, service_get_sync) \
  X(secret_, service_search_sync) \
  X(secret_, collection_for_alias_sync) \
  X(secret_, collection_get_locked) \
  X(secret_, item_create_sync) \
  X(secret_, item_delete_sync) \
  X(secret_, item_get_attributes) \
  X(secret_, item_get_locked) \
  X(secret_, item_get_secret) \
  X(secret_, item_load_secret_sync) \
  X(secret_, item_set_attributes_sync) \
  X(secret_, item_set_label_sync) \
  X(secret_, item_set_secret_sync) \
  X(secret_, value_new) \
  X(secret_, value_get) \
  X(secret_, value_unref)
// clang-format on

/// libglib-2.0: `library` says whether it opened; its functions may be
/// called only when it did.
struct GLibLibrary {
  GLibLibrary();
  SharedLibrary library;
  LX_GLIB_FUNCTIONS(LX_LIBRARY_FUNCTION)
};

/// libgobject-2.0, as `GLibLibrary`.
struct GObjectLibrary {
  GObjectLibrary();
  SharedLibrary library;
  LX_GOBJECT_FUNCTIONS(LX_LIBRARY_FUNCTION)
};

/// libgio-2.0, as `GLibLibrary`.
struct GIOLibrary {
  GIOLibrary();
  SharedLibrary library;
  LX_GIO_FUNCTIONS(LX_LIBRARY_FUNCTION)
};

#if VANTOR_HAVE_LIBSECRET
/// libsecret-1, as `GLibLibrary`.
struct SecretLibrary {
  SecretLibrary();
  SharedLibrary library;
  LX_SECRET_FUNCTIONS(LX_LIBRARY_FUNCTION)
};
#endif

/// Each library of the family, opened on the first call from any thread.
const GLibLibrary& glib();
const GObjectLibrary& gobject();
const GIOLibrary& gio();
#if VANTOR_HAVE_LIBSECRET
const SecretLibrary& libsecret();
#endif

/// Empty when GLib, GObject and GIO all opened; otherwise the loader's
/// reason for the first that did not. Opens them.
const std::string& gioLoadError();

#if VANTOR_HAVE_LIBSECRET
/// As `gioLoadError`, with libsecret as well.
const std::string& secretLoadError();
#endif

/// `G_IS_DESKTOP_APP_INFO` through the loaded libraries.
bool isDesktopAppInfo(GAppInfo* application);

/// `g_signal_connect` through the loaded libraries.
gulong connectSignal(gpointer instance, const char* signal, GCallback handler, gpointer data);

}  // namespace lx::detail
