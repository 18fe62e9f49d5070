# `cmake --build --preset default --target docs` writes the public API's
# reference to <build>/docs/html. Only the installed headers are documented,
# and a warning (an undocumented parameter, a broken reference) fails the build.
find_package(Doxygen QUIET)
if(DOXYGEN_FOUND)
  set(DOXYGEN_PROJECT_NAME Vicinix)
  set(DOXYGEN_PROJECT_NUMBER ${PROJECT_VERSION})
  set(DOXYGEN_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/docs)
  set(DOXYGEN_GENERATE_HTML YES)
  set(DOXYGEN_GENERATE_LATEX NO)
  set(DOXYGEN_RECURSIVE YES)
  set(DOXYGEN_FILE_PATTERNS *.h)
  set(DOXYGEN_EXTRACT_ALL NO)
  set(DOXYGEN_WARN_IF_UNDOCUMENTED YES)
  set(DOXYGEN_WARN_AS_ERROR FAIL_ON_WARNINGS)
  set(DOXYGEN_FULL_PATH_NAMES YES)
  set(DOXYGEN_STRIP_FROM_PATH ${PROJECT_SOURCE_DIR}/include ${PROJECT_BINARY_DIR}/include)
  set(DOXYGEN_STRIP_FROM_INC_PATH ${PROJECT_SOURCE_DIR}/include ${PROJECT_BINARY_DIR}/include)
  # The export macro is an attribute, not part of any declaration's meaning.
  set(DOXYGEN_MACRO_EXPANSION YES)
  set(DOXYGEN_EXPAND_ONLY_PREDEF YES)
  set(DOXYGEN_PREDEFINED VICINIX_EXPORT=)
  doxygen_add_docs(docs ${PROJECT_SOURCE_DIR}/include/vicinix
    ${PROJECT_BINARY_DIR}/include/vicinix/version.h
    COMMENT "Public API reference")
endif()
