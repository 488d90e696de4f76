# Compiler settings and small helpers shared by every folder.

add_compile_options(-Wall -Wextra)
# The fuzz build is a sanitizer build whose libraries are also instrumented
# for libFuzzer's coverage; only the fuzz targets themselves link its driver
# (fuzz/CMakeLists.txt).
if(ZEBO_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "ZEBO_FUZZ=ON needs clang: configure with CC=clang CXX=clang++")
  endif()
  set(ZEBO_SANITIZE ON)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
if(ZEBO_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=address,undefined)
endif()

# Every binary goes to bin/, the client library to lib/, so that tests and the
# demo find them in one place.
set(ZEBO_BIN_OUT ${CMAKE_BINARY_DIR}/bin)
set(ZEBO_LIB_OUT ${CMAKE_BINARY_DIR}/lib)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${ZEBO_BIN_OUT})
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${ZEBO_LIB_OUT})

# zebo_library(NAME SOURCES... [LIBS ...]): a static library of one folder.
function(zebo_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_include_directories(${name} PUBLIC ${CMAKE_SOURCE_DIR} ${CMAKE_BINARY_DIR}/generated)
  if(ARG_LIBS)
    target_link_libraries(${name} PUBLIC ${ARG_LIBS})
  endif()
endfunction()

# zebo_tests(NAME SOURCES... [LIBS ...]): one GoogleTest binary, every test
# registered with CTest. Does nothing when tests are off.
function(zebo_tests name)
  if(NOT ZEBO_TESTS)
    return()
  endif()
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR} ${CMAKE_BINARY_DIR}/generated)
  target_link_libraries(${name} PRIVATE ${ARG_LIBS} zebo_testing GTest::gtest pthread)
  # The client library is loaded by bare name; tests find the one just built.
  set_target_properties(${name} PROPERTIES BUILD_RPATH "${ZEBO_LIB_OUT}")
  add_dependencies(${name} zebo_test_prereqs)
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 120 WORKING_DIRECTORY ${CMAKE_BINARY_DIR})
endfunction()
