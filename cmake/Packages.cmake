# Debian packages with CPack, from this build directory (`make package`):
#   libvantorcore<soname version>  the shared library and its message catalogues
#   libvantorcore-dev              headers, static library, .pc and CMake files
#   vantor                         the command-line tool
# Run-time dependencies come from dpkg-shlibdeps, plus the packages of the
# libraries opened on first use, which no ELF header names; the development
# package depends on the -dev packages that provide what vantorcore.pc requires.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vantorcore)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "C++20 foundation library for Linux")
set(CPACK_PACKAGE_CONTACT "VantorCore developers <vantorcore@localhost>")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime development tool)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# A shlibs file and an ldconfig trigger for the shared library.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libvantorcore${VANTOR_SOVERSION})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libvantorcore-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_TOOL_PACKAGE_NAME vantor)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION utils)
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS runtime)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "C++20 foundation library for Linux (shared library)")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "C++20 foundation library for Linux (development files)")
set(CPACK_COMPONENT_TOOL_DESCRIPTION "Command-line tool of the VantorCore library")

# The -dev package owning each file a user's build reads: the modules' .pc
# files and the libraries the .pc names directly.
set(vantor_dev_files "")
foreach(module IN LISTS vantor_public_modules vantor_private_modules)
  execute_process(COMMAND ${PKG_CONFIG_EXECUTABLE} --variable=pcfiledir ${module}
                  OUTPUT_VARIABLE dir OUTPUT_STRIP_TRAILING_WHITESPACE)
  list(APPEND vantor_dev_files ${dir}/${module}.pc)
endforeach()
foreach(flag IN LISTS vantor_private_flags)
  if(flag MATCHES "^-l(.+)")
    find_library(vantor_dev_library_${CMAKE_MATCH_1} ${CMAKE_MATCH_1})
    list(APPEND vantor_dev_files ${vantor_dev_library_${CMAKE_MATCH_1}})
  endif()
endforeach()
execute_process(COMMAND dpkg-query -S ${vantor_dev_files} OUTPUT_VARIABLE owners
                RESULT_VARIABLE owners_result)
if(NOT owners_result EQUAL 0)
  message(WARNING "dpkg-query could not name the packages of ${vantor_dev_files}; "
                  "libvantorcore-dev will not depend on them")
endif()
string(REGEX MATCHALL "[^\n]+" owner_lines "${owners}")
set(vantor_dev_packages pkg-config)
foreach(line IN LISTS owner_lines)
  string(REGEX REPLACE "(:[a-z0-9]+)?: .*" "" package "${line}")
  list(APPEND vantor_dev_packages ${package})
endforeach()
list(REMOVE_DUPLICATES vantor_dev_packages)
list(JOIN vantor_dev_packages ", " CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS)

# Each library opened on first use, at least at the version built against.
get_property(vantor_loaded_files GLOBAL PROPERTY VANTOR_LOADED_LIBRARY_FILES)
set(vantor_loaded_packages "")
foreach(file IN LISTS vantor_loaded_files)
  execute_process(COMMAND dpkg-query -S ${file} OUTPUT_VARIABLE owner RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    message(WARNING "dpkg-query could not name the package of ${file}; "
                    "the run-time packages will not depend on it")
    continue()
  endif()
  string(REGEX REPLACE "(:[a-z0-9]+)?: .*" "" package "${owner}")
  execute_process(COMMAND dpkg-query -W -f=\${Version} ${package} OUTPUT_VARIABLE version)
  # The upstream version: epoch and Debian revision do not bound an ABI.
  string(REGEX REPLACE "^[0-9]+:|-[^-]*$" "" version "${version}")
  list(APPEND vantor_loaded_packages "${package} (>= ${version})")
endforeach()
list(REMOVE_DUPLICATES vantor_loaded_packages)  # GLib, GObject and GIO share one package
list(JOIN vantor_loaded_packages ", " CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS)
set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS ${CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS})
include(CPack)
