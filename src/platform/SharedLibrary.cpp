#include "SharedLibrary.h"

#include <dlfcn.h>

namespace lx::detail {

SharedLibrary::SharedLibrary(const char* soname) : handle_(dlopen(soname, RTLD_NOW | RTLD_LOCAL)) {
  if (!handle_) error_ = dlerror();
}

void* SharedLibrary::symbol(const char* name) {
  if (!handle_) return nullptr;
  void* address = dlsym(handle_, name);
  if (!address && error_.empty()) error_ = dlerror();
  return address;
}

}  // namespace lx::detail
