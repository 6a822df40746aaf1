// libcurl's functions, the library opened on first use (see SharedLibrary.h).
// Transfers call `curl().easy_setopt(...)` where they would call
// `curl_easy_setopt(...)`; only <curl/curl.h>'s declarations are compiled in.
#pragma once

#include <curl/curl.h>

#include "SharedLibrary.h"

namespace lx::detail {

// clang-format off
#define LX_CURL_FUNCTIONS(X) \
  X(global_init) \
  X(version) \
  X(easy_init) \
  X(easy_cleanup) \
  X(easy_reset) \
  X(easy_setopt) \
  X(easy_getinfo) \
  X(easy_strerror) \
  X(slist_append) \
  X(slist_free_all) \
  X(multi_init) \
  X(multi_setopt) \
  X(multi_add_handle) \
  X(multi_remove_handle) \
  X(multi_perform) \
  X(multi_poll) \
  X(multi_wakeup) \
  X(multi_info_read)
// clang-format on

struct CurlLibrary {
  CurlLibrary();

  /// Whether libcurl opened (and was initialised); `library.error()` says
  /// why not.
  SharedLibrary library;
#define LX_CURL_MEMBER(name) decltype(&::curl_##name) name = nullptr;
  LX_CURL_FUNCTIONS(LX_CURL_MEMBER)
#undef LX_CURL_MEMBER
};

/// The process's libcurl, opened and globally initialised on the first call
/// from any thread. Its functions may be called only when `library` is loaded.
const CurlLibrary& curl();

}  // namespace lx::detail
