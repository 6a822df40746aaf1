#include "CurlLibrary.h"

namespace lx::detail {

CurlLibrary::CurlLibrary() : library(VANTOR_CURL_SONAME) {
  LX_CURL_FUNCTIONS(LX_LIBRARY_RESOLVE)
  if (library.isLoaded()) global_init(CURL_GLOBAL_DEFAULT);
}

const CurlLibrary& curl() { return loadedOnce<CurlLibrary>(); }

}  // namespace lx::detail
