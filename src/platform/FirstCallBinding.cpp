// Libraries bound on first call. OpenSSL, SQLite, libplist and libxml2 cost
// a process that links the library some 9 ms of mapping and relocating
// before `main`, though most processes never hash, verify a certificate,
// keep a database or read a property list or XML. Unlike the libraries
// opened on first use (SharedLibrary.h), their functions are also called
// from headers we do not own (Boost.Asio's TLS), so the calls cannot all go
// through an accessor. Instead each function the library calls has a stub
// of the same name (written at build time by scripts/first-call-stubs.sh
// from the objects' undefined symbols): a jump through a slot that the
// first call of any function of the group fills, here, for the whole group.
#include <dlfcn.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <vector>

namespace {

// One group of libraries, laid out by the stubs' generator.
struct FirstCallGroup {
  const char* sonames;  // each NUL-terminated; an empty one ends the list
  const char* names;    // `count` function names, each NUL-terminated
  void** slots;         // each function's address, once bound
  std::uint32_t count;
};

[[noreturn]] void cannotBind(const char* what, const char* name) {
  // The stub's caller cannot be handed an error: the call's signature is
  // the library's. A missing run-time dependency is a broken installation,
  // as it would have been had the loader met it at start-up.
  std::fprintf(stderr, "VantorCore: cannot bind %s: %s\n", name, what ? what : "unknown error");
  std::abort();
}

}  // namespace

// Called by a stub whose slot is still empty, with every argument register
// saved; returns the function to go on to.
extern "C" __attribute__((visibility("hidden"))) void* lx_bindFirstCall(
    const FirstCallGroup* group, std::uint32_t index) noexcept {
  static std::mutex binding;
  const std::lock_guard lock(binding);
  auto slot = [&](std::uint32_t i) { return std::atomic_ref<void*>(group->slots[i]); };
  if (void* bound = slot(index).load(std::memory_order_acquire)) return bound;
  std::vector<void*> libraries;
  for (const char* soname = group->sonames; *soname; soname += std::strlen(soname) + 1) {
    void* library = dlopen(soname, RTLD_NOW | RTLD_LOCAL);
    if (!library) cannotBind(dlerror(), soname);
    libraries.push_back(library);
  }
  const char* name = group->names;
  for (std::uint32_t i = 0; i < group->count; ++i, name += std::strlen(name) + 1) {
    void* function = nullptr;
    for (void* library : libraries) {
      if ((function = dlsym(library, name))) break;
    }
    if (!function) cannotBind("no such function in the group's libraries", name);
    slot(i).store(function, std::memory_order_release);
  }
  return slot(index).load(std::memory_order_relaxed);
}
