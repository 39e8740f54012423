# What every target of this project is built with; nothing here reaches a consumer but the C++ standard.
function(tvk_compile_options TARGET)
  target_compile_options(${TARGET} PRIVATE
    $<$<COMPILE_LANG_AND_ID:CXX,GNU,Clang>:-Wall -Wextra -Wpedantic -Wshadow -Wconversion>
    $<$<COMPILE_LANG_AND_ID:CXX,Clang>:-Wthread-safety>
    $<$<COMPILE_LANG_AND_ID:C,GNU,Clang>:-Wall -Wextra -Wpedantic>)
  # gcc 12 sees overlapping copies in assignments of short literals to strings (its bug 105651).
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    target_compile_options(${TARGET} PRIVATE $<$<COMPILE_LANGUAGE:CXX>:-Wno-restrict>)
  endif()
  if(TVK_WERROR)
    target_compile_options(${TARGET} PRIVATE -Werror)
  endif()
endfunction()

# tvk_add_library(NAME OUTPUT_NAME name): one of the two libraries, with its alias NAME::NAME.
function(tvk_add_library NAME)
  cmake_parse_arguments(ARG "" "OUTPUT_NAME" "" ${ARGN})
  add_library(${NAME})
  add_library(${NAME}::${NAME} ALIAS ${NAME})
  set_target_properties(${NAME} PROPERTIES
    OUTPUT_NAME ${ARG_OUTPUT_NAME}
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
    CXX_EXTENSIONS OFF CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON
    POSITION_INDEPENDENT_CODE ON)
  if(PROJECT_IS_TOP_LEVEL)
    # Target all_verify_interface_header_sets compiles each public header on its own.
    set_target_properties(${NAME} PROPERTIES VERIFY_INTERFACE_HEADER_SETS ON)
  endif()
  # Its threads and late users may be in its code when the last module that uses it goes.
  get_target_property(type ${NAME} TYPE)
  if(type STREQUAL "SHARED_LIBRARY")
    target_link_options(${NAME} PRIVATE LINKER:-z,nodelete)
    # Nobody replaces single functions of the libraries, so calls inside them need no detour and no look-up.
    target_link_options(${NAME} PRIVATE LINKER:-Bsymbolic-functions,--gc-sections)
    tvk_add_printers(${NAME} lib${ARG_OUTPUT_NAME}.so.${PROJECT_VERSION}-gdb.py)
    # Templates of the standard library that were made here stay here.
    set(map ${PROJECT_SOURCE_DIR}/${NAME}/${NAME}.map)
    target_link_options(${NAME} PRIVATE LINKER:--version-script=${map})
    set_target_properties(${NAME} PROPERTIES LINK_DEPENDS ${map})
  endif()
  target_compile_features(${NAME} PUBLIC cxx_std_20)
  target_include_directories(${NAME} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  tvk_compile_options(${NAME})
  # A section a function: programs that link statically with --gc-sections carry only what they use.
  target_compile_options(${NAME} PRIVATE
    $<$<COMPILE_LANG_AND_ID:CXX,GNU,Clang>:-fno-semantic-interposition -ffunction-sections -fdata-sections>)
endfunction()

# How gdb shows the classes of a library: gdb looks for a script of this name beside the library and in its own folder.
function(tvk_add_printers NAME SCRIPT)
  configure_file(${PROJECT_SOURCE_DIR}/${NAME}/gdb/${NAME}-gdb.py ${PROJECT_BINARY_DIR}/${SCRIPT} COPYONLY)
  if(TVK_INSTALL)
    install(FILES ${PROJECT_BINARY_DIR}/${SCRIPT} COMPONENT dev
      DESTINATION ${CMAKE_INSTALL_DATADIR}/gdb/auto-load${CMAKE_INSTALL_FULL_LIBDIR})
  endif()
endfunction()

# tvk_sources(TARGET HEADERS a.h ... SOURCES a.cpp ...): the files of one room, listed by name.
# HEADERS are public and installed; a header that is not for users stands among the SOURCES.
function(tvk_sources TARGET)
  cmake_parse_arguments(ARG "" "" "HEADERS;SOURCES" ${ARGN})
  target_sources(${TARGET} PRIVATE ${ARG_SOURCES})
  if(ARG_HEADERS)
    target_sources(${TARGET} PUBLIC FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR} FILES ${ARG_HEADERS})
  endif()
endfunction()
