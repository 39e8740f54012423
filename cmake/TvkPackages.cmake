# Debian packages: cmake --preset package, cmake --build --preset package, cpack --preset package. cpack puts the
# components into folders of their own, packaging/make-packages makes the packages of them with Debian's tools.
set(CPACK_PACKAGE_NAME tvk)
set(CPACK_GENERATOR External)
set(CPACK_EXTERNAL_ENABLE_STAGING ON)
set(CPACK_EXTERNAL_PACKAGE_SCRIPT ${PROJECT_SOURCE_DIR}/packaging/Packages.cmake)
set(CPACK_COMPONENTS_ALL runtime zed dev tvkpack doc)
set(CPACK_COMPONENT_INCLUDE_TOPLEVEL_DIRECTORY OFF)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_TVK_SOURCE_DIR ${PROJECT_SOURCE_DIR})
include(CPack)

# Hardened, with debug information, and the same whatever the folders are called.
add_compile_options(-g -D_FORTIFY_SOURCE=2 -fstack-protector-strong -Wdate-time
  -ffile-prefix-map=${PROJECT_SOURCE_DIR}=. -ffile-prefix-map=${PROJECT_BINARY_DIR}=build)
add_link_options(LINKER:-z,relro,-z,now)
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)
set(CMAKE_SKIP_INSTALL_RPATH ON)
