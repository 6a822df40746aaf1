#include "CurlLibrary.h"

namespace lx::detail {

CurlLibrary::CurlLibrary() : library(VANTOR_CURL_SONAME) {
#define LX_CURL_RESOLVE(name) library.resolve(name, "curl_" #name);
  LX_CURL_FUNCTIONS(LX_CURL_RESOLVE)
#undef LX_CURL_RESOLVE
  if (library.isLoaded()) global_init(CURL_GLOBAL_DEFAULT);
}

const CurlLibrary& curl() { return loadedOnce<CurlLibrary>(); }

}  // namespace lx::detail
