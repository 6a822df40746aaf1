#include "GLibLibrary.h"

#include <initializer_list>

namespace lx::detail {
namespace {

const std::string& firstError(std::initializer_list<const SharedLibrary*> libraries) {
  static const std::string none;
  for (const SharedLibrary* library : libraries)
    if (!library->isLoaded()) return library->error();
  return none;
}

}  // namespace

// The lists' expansions read to clang-format as declarations.
// clang-format off
GLibLibrary::GLibLibrary() : library(VANTOR_GLIB_SONAME) {
  LX_GLIB_FUNCTIONS(LX_LIBRARY_RESOLVE)
}

GObjectLibrary::GObjectLibrary() : library(VANTOR_GOBJECT_SONAME) {
  LX_GOBJECT_FUNCTIONS(LX_LIBRARY_RESOLVE)
}

GIOLibrary::GIOLibrary() : library(VANTOR_GIO_SONAME) {
  LX_GIO_FUNCTIONS(LX_LIBRARY_RESOLVE)
}
// clang-format on

const GLibLibrary& glib() { return loadedOnce<GLibLibrary>(); }
const GObjectLibrary& gobject() { return loadedOnce<GObjectLibrary>(); }
const GIOLibrary& gio() { return loadedOnce<GIOLibrary>(); }

const std::string& gioLoadError() {
  return firstError({&glib().library, &gobject().library, &gio().library});
}

#if VANTOR_HAVE_LIBSECRET
SecretLibrary::SecretLibrary() : library(VANTOR_LIBSECRET_SONAME) {
  LX_SECRET_FUNCTIONS(LX_LIBRARY_RESOLVE)
}

const SecretLibrary& libsecret() { return loadedOnce<SecretLibrary>(); }

const std::string& secretLoadError() {
  return firstError({&glib().library, &gobject().library, &gio().library, &libsecret().library});
}
#endif

bool isDesktopAppInfo(GAppInfo* application) {
  return application &&
         gobject().type_check_instance_is_a(reinterpret_cast<GTypeInstance*>(application),
                                            gio().desktop_app_info_get_type());
}

gulong connectSignal(gpointer instance, const char* signal, GCallback handler, gpointer data) {
  return gobject().signal_connect_data(instance, signal, handler, data, nullptr,
                                       static_cast<GConnectFlags>(0));
}

}  // namespace lx::detail
