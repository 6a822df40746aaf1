# Every dependency comes from a Debian 12 package (scripts/install-deps.sh).
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
find_package(ICU 72 REQUIRED COMPONENTS uc i18n data)
find_package(OpenSSL 3 REQUIRED)
find_package(ZLIB REQUIRED)
find_package(SQLite3 REQUIRED)
find_package(simdjson REQUIRED)
find_package(boost_url 1.81.0 EXACT REQUIRED CONFIG)
find_package(boost_headers 1.81.0 EXACT REQUIRED CONFIG)
pkg_check_modules(PLIST REQUIRED IMPORTED_TARGET libplist-2.0)
pkg_check_modules(CURL REQUIRED libcurl)
pkg_check_modules(LIBXML2 REQUIRED IMPORTED_TARGET libxml-2.0)
pkg_check_modules(LIBSECRET IMPORTED_TARGET libsecret-1)
pkg_check_modules(GIO REQUIRED IMPORTED_TARGET gio-2.0 gio-unix-2.0)
pkg_check_modules(FONTCONFIG REQUIRED IMPORTED_TARGET fontconfig)
pkg_check_modules(CAIRO REQUIRED IMPORTED_TARGET cairo cairo-ft cairo-svg cairo-pdf cairo-png)
pkg_check_modules(XKBCOMMON REQUIRED IMPORTED_TARGET xkbcommon)
find_program(MSGFMT_EXECUTABLE msgfmt REQUIRED)

# The one list of link dependencies every area shares; areas are small enough
# that per-area dependency lists would only add bookkeeping.
add_library(vantor_deps INTERFACE)
target_link_libraries(vantor_deps INTERFACE
  ICU::uc ICU::i18n ICU::data ZLIB::ZLIB simdjson::simdjson Boost::url Boost::headers
  Threads::Threads)
target_compile_definitions(vantor_deps INTERFACE BOOST_ASIO_NO_DEPRECATED)

# The soname of the shared library at PATH, into OUT; its file is recorded so
# that the run-time packages depend on its package (cmake/Packages.cmake),
# since no ELF header of ours names a library we open ourselves.
function(vantor_loaded_library out path)
  execute_process(COMMAND ${CMAKE_OBJDUMP} -p ${path} OUTPUT_VARIABLE dump)
  if(NOT path OR NOT dump MATCHES "SONAME +([^\n ]+)")
    message(FATAL_ERROR "No soname found in '${path}'")
  endif()
  set(${out} ${CMAKE_MATCH_1} PARENT_SCOPE)
  get_filename_component(file ${path} REALPATH)
  set_property(GLOBAL APPEND PROPERTY VANTOR_LOADED_LIBRARY_FILES ${file})
endfunction()

# The file of lib<NAME>.so among what pkg_check_modules found for PREFIX, into OUT.
function(vantor_module_library out prefix name)
  set(path "")
  foreach(candidate IN LISTS ${prefix}_LINK_LIBRARIES)
    if(candidate MATCHES "/lib${name}\\.so$")
      set(path ${candidate})
    endif()
  endforeach()
  if(NOT path)
    message(FATAL_ERROR "No lib${name} among ${${prefix}_LINK_LIBRARIES}")
  endif()
  set(${out} ${path} PARENT_SCOPE)
endfunction()

# Libraries bound on first call (src/platform/FirstCallBinding.cpp): the
# library reaches their functions through stubs of the same names that open
# GROUP (its library files, PATHS) on the first call of any of them. The
# stubs are x86-64 assembly; elsewhere the libraries are linked as usual.
set(vantor_first_call_targets
  OpenSSL::SSL OpenSSL::Crypto SQLite::SQLite3 PkgConfig::PLIST PkgConfig::LIBXML2)
function(vantor_bind_on_first_call group)
  set(libraries "")
  foreach(path IN LISTS ARGN)
    vantor_loaded_library(soname ${path})
    get_filename_component(file ${path} REALPATH)
    list(APPEND libraries "${soname}:${file}")
  endforeach()
  list(JOIN libraries "," libraries)
  set_property(GLOBAL APPEND PROPERTY VANTOR_FIRST_CALL_GROUPS "${group}=${libraries}")
endfunction()
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64)$")
  enable_language(ASM)
  vantor_bind_on_first_call(openssl ${OPENSSL_SSL_LIBRARY} ${OPENSSL_CRYPTO_LIBRARY})
  vantor_bind_on_first_call(sqlite3 ${SQLite3_LIBRARIES})
  vantor_module_library(plist_library PLIST plist-2\\.0)
  vantor_bind_on_first_call(plist ${plist_library})
  vantor_module_library(xml2_library LIBXML2 xml2)
  vantor_bind_on_first_call(xml2 ${xml2_library})
  foreach(target IN LISTS vantor_first_call_targets)
    target_include_directories(vantor_deps SYSTEM INTERFACE
                               $<TARGET_PROPERTY:${target},INTERFACE_INCLUDE_DIRECTORIES>)
  endforeach()
else()
  target_link_libraries(vantor_deps INTERFACE ${vantor_first_call_targets})
endif()

# Libraries opened on first use (src/platform/SharedLibrary.h) rather than
# linked: the build compiles against their headers and names each by the
# soname of the library it found, which the run-time packages then depend on
# (VANTOR_LOADED_LIBRARY_FILES). PREFIX is the pkg_check_modules prefix,
# NAME the library's file name between "lib" and ".so".
function(vantor_load_on_first_use prefix name)
  vantor_module_library(path ${prefix} ${name})
  vantor_loaded_library(soname ${path})
  target_include_directories(vantor_deps SYSTEM INTERFACE ${${prefix}_INCLUDE_DIRS})
  target_compile_options(vantor_deps INTERFACE ${${prefix}_CFLAGS_OTHER})
  target_compile_definitions(vantor_deps INTERFACE VANTOR_${prefix}_SONAME="${soname}")
endfunction()
# URL sessions: libcurl and the thirty libraries behind it.
vantor_load_on_first_use(CURL curl)
# Favicons: librsvg draws SVG icons into Cairo (PNG goes through Cairo itself).
pkg_check_modules(RSVG REQUIRED librsvg-2.0)
vantor_load_on_first_use(RSVG rsvg-2)
# Opening URLs in other applications, D-Bus activation and the Secret
# Service: GLib, GObject, GIO and libsecret (src/platform/GLibLibrary.h).
pkg_check_modules(GLIB REQUIRED glib-2.0)
pkg_check_modules(GOBJECT REQUIRED gobject-2.0)
vantor_load_on_first_use(GLIB glib-2.0)
vantor_load_on_first_use(GOBJECT gobject-2.0)
vantor_load_on_first_use(GIO gio-2.0)
# Drawing: Cairo for paths, patterns and PNG/SVG/PDF output (with FreeType,
# pixman, libpng and the X libraries behind it), fontconfig for font matching,
# xkbcommon for key names.
vantor_load_on_first_use(CAIRO cairo)
vantor_load_on_first_use(FONTCONFIG fontconfig)
vantor_load_on_first_use(XKBCOMMON xkbcommon)
if(LIBSECRET_FOUND)
  vantor_load_on_first_use(LIBSECRET secret-1)
  target_compile_definitions(vantor_deps INTERFACE VANTOR_HAVE_LIBSECRET=1)
endif()
