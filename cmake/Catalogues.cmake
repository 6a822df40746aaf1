# The library's own message catalogues: po/<lang>/VantorCore.po compiled by
# msgfmt into <build>/locale (found beside the build tree's binaries) and
# installed into share/locale.
set(vantor_mo_files "")
file(GLOB vantor_po_files CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/po/*/VantorCore.po)
foreach(po IN LISTS vantor_po_files)
  get_filename_component(lang_dir ${po} DIRECTORY)
  get_filename_component(lang ${lang_dir} NAME)
  set(mo ${PROJECT_BINARY_DIR}/locale/${lang}/LC_MESSAGES/VantorCore.mo)
  add_custom_command(OUTPUT ${mo}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${PROJECT_BINARY_DIR}/locale/${lang}/LC_MESSAGES
    COMMAND ${MSGFMT_EXECUTABLE} --check -o ${mo} ${po}
    DEPENDS ${po})
  list(APPEND vantor_mo_files ${mo})
  install(FILES ${mo} DESTINATION ${CMAKE_INSTALL_LOCALEDIR}/${lang}/LC_MESSAGES COMPONENT runtime)
endforeach()
add_custom_target(vantorcore_catalogues ALL DEPENDS ${vantor_mo_files})
