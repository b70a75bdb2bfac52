# Most of a build is the parsing of Qt's and the library's headers. With VELLUMTIDE_PCH they are parsed once for
# three groups of targets: the engine, the window, the tests. That every file of src/ names what it includes shows in
# the type-check for Windows, which does without.
option(VELLUMTIDE_PCH "Parse the common headers once" OFF)

function(vellumtide_header_carrier name)
  add_library(vt_pch_${name} OBJECT ${PROJECT_SOURCE_DIR}/cmake/pch/carrier.cpp)
  set_target_properties(vt_pch_${name} PROPERTIES AUTOMOC OFF)
  target_link_libraries(vt_pch_${name} PRIVATE vt_flags ${ARGN})
  target_precompile_headers(vt_pch_${name} PRIVATE ${PROJECT_SOURCE_DIR}/cmake/pch/${name}.h)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(vt_pch_${name} PRIVATE -fpch-preprocess) # as ccache asks for
  endif()
endfunction()

function(vellumtide_precompiled target group)
  if(VELLUMTIDE_PCH)
    target_precompile_headers(${target} REUSE_FROM vt_pch_${group})
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
      target_compile_options(${target} PRIVATE -fpch-preprocess -Winvalid-pch)
    endif()
  endif()
endfunction()

if(VELLUMTIDE_PCH)
  vellumtide_header_carrier(engine Qt6::Core)
  vellumtide_header_carrier(window Qt6::Widgets)
  if(VELLUMTIDE_BUILD_TESTS)
    find_package(GTest REQUIRED)
    vellumtide_header_carrier(tests Qt6::Core GTest::gmock)
  endif()
endif()
