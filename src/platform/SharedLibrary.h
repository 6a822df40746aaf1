// Optional libraries opened on first use instead of at start-up. libcurl,
// librsvg, the GLib family and the Cairo family bring some thirty shared
// libraries each; mapping and relocating them cost every process about 10 ms
// per family before `main`, which a process that never fetches a URL, opens
// another application or draws should not pay.
#pragma once

#include <string>

namespace lx::detail {

class SharedLibrary {
 public:
  /// Opens `soname` with the loader's search rules, its symbols kept out of
  /// the global scope. `isLoaded()` tells whether that worked.
  explicit SharedLibrary(const char* soname);
  // Never closed: callbacks into the library may run until the process ends.
  SharedLibrary(const SharedLibrary&) = delete;
  SharedLibrary& operator=(const SharedLibrary&) = delete;

  /// True when the library opened and every symbol asked for was found.
  bool isLoaded() const { return error_.empty(); }
  /// Why the library is not loaded, in the loader's words ("libcurl.so.4:
  /// cannot open shared object file: No such file or directory").
  const std::string& error() const { return error_; }

  /// Points `function` at the library's symbol `name`, or at nothing (and
  /// the library then counts as not loaded).
  template <typename Function>
  void resolve(Function*& function, const char* name) {
    function = reinterpret_cast<Function*>(symbol(name));
  }

 private:
  void* symbol(const char* name);

  void* handle_;
  std::string error_;
};

// A library's functions are listed once, as `X(prefix, name)` entries of an
// X-macro (`LX_CAIRO_FUNCTIONS(X)` and the like). Its struct declares them
// with `LIST(LX_LIBRARY_FUNCTION)`, a pointer named `name` of the type of
// `::prefix##name`, and its constructor, which has a SharedLibrary named
// `library`, looks them up with `LIST(LX_LIBRARY_RESOLVE)`.
#define LX_LIBRARY_FUNCTION(prefix, name) decltype(&::prefix##name) name = nullptr;
#define LX_LIBRARY_RESOLVE(prefix, name) library.resolve(name, #prefix #name);

/// The process's one `Library` (a struct of a SharedLibrary and its
/// functions), made on the first call from any thread. Never destroyed: the
/// library's objects and callbacks may outlive static destruction.
template <typename Library>
const Library& loadedOnce() {
  static const Library* const loaded = new Library();
  return *loaded;
}

}  // namespace lx::detail
