# How a user outside this build reaches each link dependency of the library
# (each entry of vantor_deps): its pkg-config modules, a linker flag where it
# has none, or nothing where another entry already brings it in. The .pc file
# and the installed CMake package are both written from this one table, and a
# dependency added to vantor_deps without a row here stops the configure.
set(vantor_dependency_rows
  "ICU::uc=icu-uc" "ICU::i18n=icu-i18n" "ICU::data=" "OpenSSL::SSL=openssl" "OpenSSL::Crypto="
  "ZLIB::ZLIB=zlib" "SQLite::SQLite3=sqlite3" "simdjson::simdjson=simdjson"
  "Boost::url=-lboost_url" "Boost::headers=" "PkgConfig::PLIST=libplist-2.0"
  "PkgConfig::LIBXML2=libxml-2.0"
  "Threads::Threads=-pthread")
# The public headers include <cairo.h>, so every user compiles with Cairo's
# flags; the library opens Cairo itself, so no user links it on our behalf.
set(vantor_public_modules cairo)

set(vantor_private_modules "")
set(vantor_private_flags "")
get_target_property(vantor_dependency_entries vantor_deps INTERFACE_LINK_LIBRARIES)
foreach(entry IN LISTS vantor_dependency_entries)
  set(found FALSE)
  foreach(row IN LISTS vantor_dependency_rows)
    string(FIND "${row}" "=" split)
    string(SUBSTRING "${row}" 0 ${split} name)
    if(name STREQUAL entry)
      math(EXPR split "${split} + 1")
      string(SUBSTRING "${row}" ${split} -1 reach)
      separate_arguments(reach UNIX_COMMAND "${reach}")
      foreach(item IN LISTS reach)
        if(item MATCHES "^-")
          list(APPEND vantor_private_flags ${item})
        elseif(NOT item IN_LIST vantor_public_modules)
          list(APPEND vantor_private_modules ${item})
        endif()
      endforeach()
      set(found TRUE)
    endif()
  endforeach()
  if(NOT found)
    message(FATAL_ERROR "cmake/LinkInterface.cmake: no row tells users how to link ${entry}")
  endif()
endforeach()
list(REMOVE_DUPLICATES vantor_private_modules)

# Users link the shared library alone (with Cairo's include flags for the
# headers); users of the static library need every linked dependency, which
# the installed package config finds through pkg-config as VantorCore's own
# .pc file lists them.
list(JOIN vantor_public_modules " " VANTOR_PUBLIC_MODULES)
list(JOIN vantor_private_modules " " VANTOR_PRIVATE_MODULES)
list(JOIN vantor_private_flags " " VANTOR_PRIVATE_FLAGS)
target_link_libraries(vantorcore INTERFACE $<INSTALL_INTERFACE:VantorCore::header_dependencies>)
target_link_libraries(vantorcore_static INTERFACE
  $<INSTALL_INTERFACE:VantorCore::header_dependencies>
  $<INSTALL_INTERFACE:PkgConfig::VantorCorePrivate>)
foreach(flag IN LISTS vantor_private_flags)
  target_link_libraries(vantorcore_static INTERFACE $<INSTALL_INTERFACE:${flag}>)
endforeach()

# Two .pc files whose prefix follows the file, so an installed tree can move.
# vantorcore.pc is the usual one (its --static form is for fully static links,
# which need every dependency's own dependencies as archives too);
# vantorcore-static.pc links libvantorcore.a into a host that takes the
# dependencies as shared libraries, as the static CMake target does.
# Cairo stays in Requires.private of both: pkg-config's --cflags reads it,
# --libs (without --static) does not.
file(RELATIVE_PATH VANTOR_PC_PREFIX_FROM_PCFILEDIR
  ${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" VANTOR_PC_PREFIX_FROM_PCFILEDIR "${VANTOR_PC_PREFIX_FROM_PCFILEDIR}")
function(vantor_pkgconfig_file name libs requires requires_private libs_private)
  set(VANTOR_PC_LIBS "${libs}")
  set(VANTOR_PC_REQUIRES "${requires}")
  set(VANTOR_PC_REQUIRES_PRIVATE "${requires_private}")
  set(VANTOR_PC_LIBS_PRIVATE "${libs_private}")
  configure_file(${PROJECT_SOURCE_DIR}/cmake/vantorcore.pc.in ${PROJECT_BINARY_DIR}/${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
          COMPONENT development)
endfunction()
vantor_pkgconfig_file(vantorcore "-L\${libdir} -lvantorcore" ""
  "${VANTOR_PUBLIC_MODULES} ${VANTOR_PRIVATE_MODULES}" "${VANTOR_PRIVATE_FLAGS}")
vantor_pkgconfig_file(vantorcore-static "\${libdir}/libvantorcore.a ${VANTOR_PRIVATE_FLAGS}"
  "${VANTOR_PRIVATE_MODULES}" "${VANTOR_PUBLIC_MODULES}" "")
