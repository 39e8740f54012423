# Libraries, public headers, the package files for find_package(tvk) and pkg-config.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/tvk)
foreach(name IN ITEMS tvk zed)
  install(TARGETS ${name} EXPORT ${name}Targets FILE_SET HEADERS)
  install(EXPORT ${name}Targets NAMESPACE ${name}:: DESTINATION ${package_dir})
endforeach()

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/tvkConfig.cmake.in
  ${PROJECT_BINARY_DIR}/tvkConfig.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/tvkConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/tvkConfig.cmake ${PROJECT_BINARY_DIR}/tvkConfigVersion.cmake
  ${PROJECT_SOURCE_DIR}/cmake/TvkLanguage.cmake ${PROJECT_SOURCE_DIR}/cmake/tvk-language.py
  DESTINATION ${package_dir})
# For translators, and for tvk_add_language_library.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/po DESTINATION ${package_dir})

install(FILES ${PROJECT_SOURCE_DIR}/LICENSE ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/CHANGELOG.md
  ${PROJECT_SOURCE_DIR}/docs/surprises.md DESTINATION ${CMAKE_INSTALL_DOCDIR})

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
foreach(name IN ITEMS tvk zed)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/${name}.pc.in ${PROJECT_BINARY_DIR}/${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()
