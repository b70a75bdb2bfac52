# Flags and target helpers shared by every folder.
#
#   vellumtide_library(NAME SOURCES... )   static library vt_NAME, warnings on, include root src/
#   vellumtide_test(NAME SOURCES... [LABELS ...])  GoogleTest executable vt_NAME_test under ctest

add_library(vt_flags INTERFACE)
target_include_directories(vt_flags INTERFACE ${PROJECT_SOURCE_DIR}/src)
target_compile_definitions(vt_flags INTERFACE
  QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_URL_CAST_FROM_STRING QT_STRICT_ITERATORS
  QT_MESSAGELOGCONTEXT
  VELLUMTIDE_VERSION_MAJOR=${PROJECT_VERSION_MAJOR} VELLUMTIDE_VERSION_MINOR=${PROJECT_VERSION_MINOR}
  VELLUMTIDE_VERSION_BUILD="${PROJECT_VERSION_PATCH}")
target_compile_options(vt_flags INTERFACE -Wall -Wextra -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual
                                          -Wcast-align -Wformat=2)
# Log lines and crash reports name source files as they stand in the tree, wherever it was built.
target_compile_options(vt_flags INTERFACE -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=)
if(VELLUMTIDE_WERROR)
  target_compile_options(vt_flags INTERFACE -Werror)
endif()
if(VELLUMTIDE_SANITIZE)
  target_compile_options(vt_flags INTERFACE -fsanitize=${VELLUMTIDE_SANITIZE} -fno-omit-frame-pointer)
  target_link_options(vt_flags INTERFACE -fsanitize=${VELLUMTIDE_SANITIZE})
  target_compile_definitions(vt_flags INTERFACE VELLUMTIDE_SANITIZED=1)
endif()
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  target_compile_options(vt_flags INTERFACE -Wthread-safety)
endif()

# Engine code (no widgets) also has to be clean under -Wconversion.
add_library(vt_engine_flags INTERFACE)
target_link_libraries(vt_engine_flags INTERFACE vt_flags)
target_compile_options(vt_engine_flags INTERFACE -Wconversion)

include(cmake/PrecompiledHeaders.cmake)

function(vellumtide_library name)
  add_library(vt_${name} STATIC ${ARGN})
  target_link_libraries(vt_${name} PUBLIC vt_flags PRIVATE vt_engine_flags)
  if(name MATCHES "^(ui|app)$")
    vellumtide_precompiled(vt_${name} window)
  else()
    vellumtide_precompiled(vt_${name} engine)
  endif()
endfunction()

# A test that finds no ground to run on prints "Not run: " and why, and ctest shows it as skipped.
# Without LABELS a test carries the label "fast": the sum of those ends within a minute.
function(vellumtide_test name)
  cmake_parse_arguments(ARG "" "" "LABELS;SOURCES;LIBRARIES" ${ARGN})
  if(NOT ARG_LABELS)
    set(ARG_LABELS fast)
  endif()
  add_executable(vt_${name}_test ${ARG_SOURCES})
  target_link_libraries(vt_${name}_test PRIVATE vt_flags vt_testsupport ${ARG_LIBRARIES})
  target_compile_definitions(vt_${name}_test PRIVATE
    VELLUMTIDE_TEST_DATA="${PROJECT_SOURCE_DIR}/tests/data")
  vellumtide_precompiled(vt_${name}_test tests)
  include(GoogleTest)
  gtest_discover_tests(vt_${name}_test DISCOVERY_MODE PRE_TEST
    PROPERTIES LABELS "${ARG_LABELS}" TIMEOUT 600 SKIP_REGULAR_EXPRESSION "Not run: ")
endfunction()
