# Translations of programs, made from PO catalogues. Come with find_package(tvk) and with add_subdirectory.
# Needed: gettext and python3 with polib (Debian: gettext python3-polib). See translating.md.
#
# tvk_add_language_library(TARGET hello LANGUAGE De CATALOGUE po/de.po [DESTINATION folder] [COMPONENT name]
#                          [OUTPUT_NAME name] [NO_LIBRARY_TEXTS] [NO_INSTALL])
#   Builds hello.lDe beside the program `hello`, together with it, and installs it beside it. Its texts are those of
#   the catalogue and, behind them, the library's own where they are translated (De, Fr, Es); NO_LIBRARY_TEXTS leaves
#   these out. LANGUAGE is one of Us Sa Cn Dk Nl Fr De Gr It Hu Jp Ko Br Es Se Tw Ru; LANG chooses among De, Fr, Es,
#   Cn, Jp and Ru. DESTINATION is where the program is installed, bin unless told otherwise. OUTPUT_NAME is for targets
#   that are loaded under a frame with another path: "tvk" for a tvk::Module.
#
# tvk_add_text_library(texts CATALOGUE po/fr.po [DESTINATION folder] [COMPONENT name] [NO_INSTALL])
#   The other kind: a module `texts.so` with TvkLoadStringFromResource, which answers the codes of the catalogue that
#   nobody else knows as soon as a process has loaded it. Texts without a translation answer in their own words, so
#   the catalogue may be a template. Its objects, $<TARGET_OBJECTS:texts>, do the same inside a plug-in.
#
# Catalogues are checked while the program is built. A %1 too few or too many, a character that ISO-8859-15 lacks, a
# text of a wrong width or under no code, end the build with file, line and code.
include_guard(GLOBAL)

# For find_program: a python3 will do when it has polib.
function(tvk_language_python RESULT CANDIDATE)
  execute_process(COMMAND ${CANDIDATE} -c "import polib" RESULT_VARIABLE status OUTPUT_QUIET ERROR_QUIET)
  if(NOT status EQUAL 0)
    set(${RESULT} FALSE PARENT_SCOPE)
  endif()
endfunction()

function(tvk_find_language_tools)
  find_program(TVK_MSGFMT msgfmt DOC "Checks PO catalogues")
  find_program(TVK_PYTHON_POLIB python3 VALIDATOR tvk_language_python DOC "A python3 that has polib")
  if(NOT TVK_MSGFMT)
    message(FATAL_ERROR "Translations need msgfmt of gettext (Debian: apt-get install gettext).")
  elseif(NOT TVK_PYTHON_POLIB)
    message(FATAL_ERROR "Translations need a python3 with polib (Debian: apt-get install python3-polib).")
  endif()
endfunction()

# The module NAME of KIND from these catalogues.
function(tvk_language_module NAME KIND)
  tvk_find_language_tools()
  get_property(languages GLOBAL PROPERTY ENABLED_LANGUAGES)
  set(source "${CMAKE_CURRENT_BINARY_DIR}/${NAME}.texts.cpp")
  if("C" IN_LIST languages)
    set(source "${CMAKE_CURRENT_BINARY_DIR}/${NAME}.texts.c")
  endif()
  set(script "${CMAKE_CURRENT_FUNCTION_LIST_DIR}/tvk-language.py")
  add_custom_command(OUTPUT "${source}"
    COMMAND ${TVK_PYTHON_POLIB} -B "${script}" ${TVK_MSGFMT} ${KIND} "${source}" ${ARGN}
    DEPENDS ${ARGN} "${script}" COMMENT "Texts of ${NAME}" VERBATIM)
  add_library(${NAME} MODULE "${source}")
  target_include_directories(${NAME} PRIVATE $<TARGET_PROPERTY:tvk::tvk,INTERFACE_INCLUDE_DIRECTORIES>)
  set_target_properties(${NAME} PROPERTIES PREFIX "" C_VISIBILITY_PRESET hidden CXX_VISIBILITY_PRESET hidden)
endfunction()

# Sets `catalogue` of the caller to the full path of one that is there.
macro(tvk_language_catalogue FUNCTION)
  if(ARG_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "${FUNCTION}: what is meant by ${ARG_UNPARSED_ARGUMENTS}?")
  elseif(NOT ARG_CATALOGUE)
    message(FATAL_ERROR "${FUNCTION}: CATALOGUE is missing")
  endif()
  get_filename_component(catalogue "${ARG_CATALOGUE}" ABSOLUTE)
  if(NOT EXISTS "${catalogue}")
    message(FATAL_ERROR "${FUNCTION}: there is no catalogue ${catalogue}")
  endif()
endmacro()

macro(tvk_language_install NAME DEFAULT)
  if(NOT ARG_NO_INSTALL)
    include(GNUInstallDirs)
    if(NOT ARG_DESTINATION)
      set(ARG_DESTINATION ${CMAKE_INSTALL_${DEFAULT}})
    endif()
    if(ARG_COMPONENT)
      set(ARG_COMPONENT COMPONENT ${ARG_COMPONENT})
    endif()
    install(TARGETS ${NAME} LIBRARY DESTINATION ${ARG_DESTINATION} ${ARG_COMPONENT})
  endif()
endmacro()

function(tvk_add_language_library)
  set(names Us Sa Cn Dk Nl Fr De Gr It Hu Jp Ko Br Es Se Tw Ru)
  set(locales en ar zh_CN da nl fr de el it hu ja ko pt_BR es sv zh_TW ru)
  cmake_parse_arguments(PARSE_ARGV 0 ARG "NO_LIBRARY_TEXTS;NO_INSTALL"
    "TARGET;LANGUAGE;CATALOGUE;DESTINATION;COMPONENT;OUTPUT_NAME" "")
  tvk_language_catalogue(tvk_add_language_library)
  if(NOT TARGET "${ARG_TARGET}")
    message(FATAL_ERROR "tvk_add_language_library: TARGET \"${ARG_TARGET}\" is no target")
  endif()
  list(FIND names "${ARG_LANGUAGE}" index)
  if(index EQUAL -1)
    message(FATAL_ERROR "tvk_add_language_library: LANGUAGE \"${ARG_LANGUAGE}\" is none of ${names}")
  endif()
  list(GET locales ${index} locale)
  file(STRINGS "${catalogue}" header REGEX "^\"Language: [a-z]" LIMIT_COUNT 1)
  string(REGEX REPLACE "^\"Language: ([a-z]+).*" "\\1" written "${header}")
  if(NOT locale MATCHES "^${written}")
    message(FATAL_ERROR "tvk_add_language_library: ${catalogue} is in \"${written}\", which is not ${ARG_LANGUAGE}")
  endif()

  # The library's catalogues lie beside this file when it is installed, and elsewhere in the source tree.
  set(here "${CMAKE_CURRENT_FUNCTION_LIST_DIR}")
  set(catalogues "${catalogue}")
  foreach(own IN ITEMS "${here}/po/${locale}.po" "${here}/../po/${locale}.po")
    if(EXISTS "${own}" AND NOT ARG_NO_LIBRARY_TEXTS)
      get_filename_component(own "${own}" ABSOLUTE)
      list(APPEND catalogues "${own}")
      break()
    endif()
  endforeach()

  set(library ${ARG_TARGET}_${ARG_LANGUAGE})
  tvk_language_module(${library} language ${catalogues})
  # The frame replaces what stands behind the last "." of the program's name.
  if(NOT ARG_OUTPUT_NAME)
    set(ARG_OUTPUT_NAME $<PATH:GET_STEM,LAST_ONLY,$<TARGET_FILE_NAME:${ARG_TARGET}>>)
  endif()
  set_target_properties(${library} PROPERTIES OUTPUT_NAME ${ARG_OUTPUT_NAME} SUFFIX .l${ARG_LANGUAGE}
    LIBRARY_OUTPUT_DIRECTORY $<TARGET_FILE_DIR:${ARG_TARGET}>)
  add_dependencies(${ARG_TARGET} ${library})
  tvk_language_install(${library} BINDIR)
endfunction()

function(tvk_add_text_library NAME)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "NO_INSTALL" "CATALOGUE;DESTINATION;COMPONENT" "")
  tvk_language_catalogue(tvk_add_text_library)
  tvk_language_module(${NAME} text "${catalogue}")
  tvk_language_install(${NAME} LIBDIR)
endfunction()
