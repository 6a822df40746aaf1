// libcurl's functions, the library opened on first use (see SharedLibrary.h).
// Transfers call `curl().easy_setopt(...)` where they would call
// `curl_easy_setopt(...)`; only <curl/curl.h>'s declarations are compiled in.
#pragma once

#include <curl/curl.h>

#include "SharedLibrary.h"

namespace lx::detail {

// clang-format off
#define LX_CURL_FUNCTIONS(X) \
  X(curl_, global_init) \
  X(curl_, version) \
  X(curl_, easy_init) \
  X(curl_, easy_cleanup) \
  X(curl_, easy_reset) \
  X(curl_, easy_setopt) \
  X(curl_, easy_getinfo) \
  X(curl_, easy_strerror) \
  X(curl_, slist_append) \
  X(curl_, slist_free_all) \
  X(curl_, multi_init) \
  X(curl_, multi_setopt) \
  X(curl_, multi_add_handle) \
  X(curl_, multi_remove_handle) \
  X(curl_, multi_perform) \
  X(curl_, multi_poll) \
  X(curl_, multi_wakeup) \
  X(curl_, multi_info_read)
// clang-format on

struct CurlLibrary {
  CurlLibrary();

  /// Whether libcurl opened (and was initialised); `library.error()` says
  /// why not.
  SharedLibrary library;
  LX_CURL_FUNCTIONS(LX_LIBRARY_FUNCTION)
};

/// The process's libcurl, opened and globally initialised on the first call
/// from any thread. Its functions may be called only when `library` is loaded.
const CurlLibrary& curl();

}  // namespace lx::detail
