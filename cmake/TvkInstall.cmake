# Libraries, public headers, the package files for find_package(tvk) and pkg-config. Components: runtime, zed, dev,
# tvkpack, doc.
include(CMakePackageConfigHelpers)

set(libraries tvk zed)
set(components runtime zed)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/tvk)
foreach(name component IN ZIP_LISTS libraries components)
  install(TARGETS ${name} EXPORT ${name}Targets
    LIBRARY COMPONENT ${component} NAMELINK_COMPONENT dev
    ARCHIVE COMPONENT dev
    FILE_SET HEADERS COMPONENT dev)
  install(EXPORT ${name}Targets NAMESPACE ${name}:: DESTINATION ${package_dir} COMPONENT dev)
endforeach()

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/tvkConfig.cmake.in
  ${PROJECT_BINARY_DIR}/tvkConfig.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/tvkConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/tvkConfig.cmake ${PROJECT_BINARY_DIR}/tvkConfigVersion.cmake
  ${PROJECT_SOURCE_DIR}/cmake/TvkLanguage.cmake ${PROJECT_SOURCE_DIR}/cmake/tvk-language.py
  DESTINATION ${package_dir} COMPONENT dev)
# For translators, and for tvk_add_language_library.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/po DESTINATION ${package_dir} COMPONENT dev)

file(GLOB pages ${PROJECT_SOURCE_DIR}/docs/*.md)
install(FILES ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/CHANGELOG.md ${PROJECT_SOURCE_DIR}/LICENSE
  DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT doc)
install(FILES ${pages} DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs COMPONENT doc)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT doc)
# What the target docs has made by then.
install(DIRECTORY ${PROJECT_BINARY_DIR}/docs/man/ DESTINATION ${CMAKE_INSTALL_MANDIR} COMPONENT dev OPTIONAL)
install(DIRECTORY ${PROJECT_BINARY_DIR}/docs/html DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT doc OPTIONAL)

# The .pc files find their prefix from where they lie, so an installed tree can be moved.
file(RELATIVE_PATH pc_prefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
foreach(dir IN ITEMS LIBDIR INCLUDEDIR)
  set(pc_${dir} "\${prefix}/${CMAKE_INSTALL_${dir}}")
  if(IS_ABSOLUTE ${CMAKE_INSTALL_${dir}})
    set(pc_${dir} ${CMAKE_INSTALL_${dir}})
  endif()
endforeach()
# Only a static library needs more than itself at link time.
list(TRANSFORM CMAKE_DL_LIBS PREPEND "-l" OUTPUT_VARIABLE pc_private)
list(APPEND pc_private ${CMAKE_THREAD_LIBS_INIT})
list(JOIN pc_private " " pc_private)
set(pc_requires "")
if(NOT BUILD_SHARED_LIBS)
  set(pc_requires zlib)
endif()
foreach(name IN ITEMS tvk zed)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/${name}.pc.in ${PROJECT_BINARY_DIR}/${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
    COMPONENT dev)
endforeach()
