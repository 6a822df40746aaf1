# The project version reaches the code through a generated header, and the
# shared library's soname through VANTOR_SOVERSION. Before 1.0 every minor
# release may break the ABI, so the soname carries major.minor (libvantorcore.so.0.1);
# from 1.0 on only a major release may, and the soname carries the major alone.
if(PROJECT_VERSION_MAJOR EQUAL 0)
  set(VANTOR_SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
else()
  set(VANTOR_SOVERSION ${PROJECT_VERSION_MAJOR})
endif()
configure_file(${PROJECT_SOURCE_DIR}/include/vantorcore/Version.h.in
               ${PROJECT_BINARY_DIR}/generated/vantorcore/Version.h @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/generated/vantorcore/Version.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vantorcore COMPONENT development)
