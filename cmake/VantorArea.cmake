# Each area (src/<area>) is an object library of its own, so a test suite of one
# area builds and links only that area and the areas it names as dependencies.
set(VANTOR_AREAS "" CACHE INTERNAL "")

# A source that includes DebugLogging.h gets a debug switch of its own (it
# lives in an unnamed namespace), which a unity source shared with another
# such file would merge into one; those sources are compiled on their own.
function(vantor_keep_debug_switches_apart)
  foreach(source IN LISTS ARGN)
    file(STRINGS ${source} includes REGEX "#include \"vantorcore/text/DebugLogging\\.h\"")
    if(includes)
      set_source_files_properties(${source} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
    endif()
  endforeach()
endfunction()

function(vantor_area name)
  cmake_parse_arguments(ARG "" "" "DEPENDS" ${ARGN})
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/${name}/*.cpp)
  set_property(GLOBAL PROPERTY VANTOR_AREA_DEPS_${name} "${ARG_DEPENDS}")
  if(NOT sources)
    return()
  endif()
  vantor_keep_debug_switches_apart(${sources})
  add_library(vc_${name} OBJECT ${sources})
  target_include_directories(vc_${name} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
    $<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/generated>
    PRIVATE ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(vc_${name} PUBLIC vantor_deps)
  # Hidden unless a public header marks it (include/vantorcore/Export.h).
  set_target_properties(vc_${name} PROPERTIES CXX_VISIBILITY_PRESET hidden
                        VISIBILITY_INLINES_HIDDEN ON)
  set(VANTOR_AREAS ${VANTOR_AREAS} ${name} CACHE INTERNAL "")
endfunction()

# The area itself and every area it depends on, directly or not, that has code.
function(vantor_area_closure out name)
  set(result "")
  set(todo ${name})
  while(todo)
    list(POP_FRONT todo current)
    if(current IN_LIST result)
      continue()
    endif()
    list(APPEND result ${current})
    get_property(deps GLOBAL PROPERTY VANTOR_AREA_DEPS_${current})
    list(APPEND todo ${deps})
  endwhile()
  set(objects "")
  foreach(area IN LISTS result)
    if(TARGET vc_${area})
      list(APPEND objects vc_${area})
    endif()
  endforeach()
  set(${out} ${objects} PARENT_SCOPE)
endfunction()

# The stubs of the libraries bound on first call (cmake/Dependencies.cmake),
# one for each of their functions that OBJECTS call, as the object library
# vantor_first_call; nothing when no library is bound so.
function(vantor_first_call_stubs)
  get_property(groups GLOBAL PROPERTY VANTOR_FIRST_CALL_GROUPS)
  if(NOT groups)
    return()
  endif()
  set(areas "")
  foreach(area IN LISTS VANTOR_AREAS)
    list(APPEND areas vc_${area})
  endforeach()
  set(stubs ${PROJECT_BINARY_DIR}/generated/FirstCallStubs.S)
  add_custom_command(OUTPUT ${stubs}
    COMMAND ${CMAKE_COMMAND} -E env NM=${CMAKE_NM}
            sh ${PROJECT_SOURCE_DIR}/scripts/first-call-stubs.sh ${stubs} ${groups} -- ${ARGN}
    DEPENDS ${PROJECT_SOURCE_DIR}/scripts/first-call-stubs.sh ${areas} ${ARGN}
    COMMENT "Writing the stubs of the libraries bound on first call"
    COMMAND_EXPAND_LISTS VERBATIM)
  add_library(vantor_first_call OBJECT ${stubs})
endfunction()

function(vantor_finish_library)
  set(objects "")
  foreach(area IN LISTS VANTOR_AREAS)
    list(APPEND objects $<TARGET_OBJECTS:vc_${area}>)
  endforeach()
  vantor_first_call_stubs(${objects})
  if(TARGET vantor_first_call)
    list(APPEND objects $<TARGET_OBJECTS:vantor_first_call>)
  endif()
  add_library(vantorcore SHARED ${objects})
  add_library(vantorcore_static STATIC ${objects})
  # Every symbol resolved here, so that a function missing from the stubs
  # fails the build rather than the first program that calls it.
  target_link_options(vantorcore PRIVATE -Wl,--no-undefined)
  set_target_properties(vantorcore PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${VANTOR_SOVERSION})
  set_target_properties(vantorcore_static PROPERTIES OUTPUT_NAME vantorcore)
  foreach(lib vantorcore vantorcore_static)
    target_include_directories(${lib} PUBLIC
      $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
      $<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/generated>
      $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
    target_link_libraries(${lib} PUBLIC $<BUILD_INTERFACE:vantor_deps>)
  endforeach()
  add_library(VantorCore::vantorcore ALIAS vantorcore)
  # Classes register themselves from static initialisers, which a static link
  # drops with any unit the host never names. Linked into one relocatable
  # object first, the archive has a single member: whatever the host uses
  # brings in the whole library, registrations included, with no
  # --whole-archive on the user's side (plain -l, pkg-config or CMake).
  set(archive $<TARGET_FILE:vantorcore_static>)
  add_custom_command(TARGET vantorcore_static POST_BUILD
    COMMAND ${CMAKE_LINKER} -r --whole-archive ${archive} -o ${archive}.o
    COMMAND ${CMAKE_COMMAND} -E rm -f ${archive}
    COMMAND ${CMAKE_AR} qcs ${archive} ${archive}.o
    COMMAND ${CMAKE_COMMAND} -E rm -f ${archive}.o
    VERBATIM)
endfunction()

function(vantor_add_area_tests)
  find_package(GTest REQUIRED)
  include(GoogleTest)
  # Test helpers with heavy headers (Asio, OpenSSL) are built once; a suite
  # links in only what it uses.
  add_library(vantor_test_support STATIC ${PROJECT_SOURCE_DIR}/tests/support/TestHTTPServer.cpp
              ${PROJECT_SOURCE_DIR}/tests/support/TestCertificateAuthority.cpp)
  target_include_directories(vantor_test_support PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  # Tests make their certificates with OpenSSL and their databases with
  # SQLite themselves, which the library binds only on first call.
  target_link_libraries(vantor_test_support PUBLIC vantor_deps OpenSSL::SSL OpenSSL::Crypto
                        SQLite::SQLite3)
  foreach(area IN LISTS VANTOR_AREAS)
    file(GLOB_RECURSE tests CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tests/${area}/*.cpp)
    if(NOT tests)
      continue()
    endif()
    vantor_area_closure(objects ${area})
    vantor_keep_debug_switches_apart(${tests})
    add_executable(${area}_tests ${tests} ${PROJECT_SOURCE_DIR}/tests/support/TestMain.cpp
                   ${PROJECT_SOURCE_DIR}/tests/support/TestSupport.cpp)
    target_include_directories(${area}_tests PRIVATE ${PROJECT_SOURCE_DIR}/tests ${PROJECT_SOURCE_DIR}/src)
    target_link_libraries(${area}_tests PRIVATE ${objects} vantor_test_support GTest::gtest GTest::gmock
                          $<TARGET_NAME_IF_EXISTS:vantor_first_call>)
    target_compile_definitions(${area}_tests PRIVATE
      VANTOR_SOURCE_DIR="${PROJECT_SOURCE_DIR}" VANTOR_SHARED_DIR="${PROJECT_SOURCE_DIR}/../shared")
    gtest_discover_tests(${area}_tests DISCOVERY_MODE PRE_TEST PROPERTIES TIMEOUT 300)
  endforeach()
endfunction()
