# What every target is built with, and what this build contains.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS ON)
set(CMAKE_C_STANDARD 99)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE RelWithDebInfo)
endif()

if(CMAKE_CROSSCOMPILING)
  set(orka_native_default OFF)
else()
  set(orka_native_default ON)
endif()
set(orka_bench_default ${orka_native_default})
if(ORKA_SANITIZE)
  set(orka_bench_default OFF)
endif()

set(ORKA_PRESET "custom" CACHE STRING "Name of this build; begins the names of its tests")
set(ORKA_SANITIZE "" CACHE STRING "Sanitizers, as -fsanitize= takes them")
option(ORKA_COVERAGE "Count with gcov what the library's tests reach" OFF)
option(ORKA_NATIVE "The board's server and the tools, which run on the machine that builds" ${orka_native_default})
option(ORKA_TESTS "The tests" ON)
option(ORKA_FUZZ "The fuzz targets for libFuzzer, which takes clang; no other tests" OFF)
option(ORKA_BENCH "The benchmarks" ${orka_bench_default})

# The directory name under which the loader of this ABI looks: what $LIB expands to.
execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-multiarch OUTPUT_VARIABLE orka_multiarch
                OUTPUT_STRIP_TRAILING_WHITESPACE)
if(NOT orka_multiarch)
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -dumpmachine OUTPUT_VARIABLE orka_multiarch
                  OUTPUT_STRIP_TRAILING_WHITESPACE)
endif()

add_library(orka_warnings INTERFACE)
target_compile_options(orka_warnings INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Werror
                       $<$<COMPILE_LANGUAGE:CXX>:-Wno-missing-field-initializers>)

# Paths in texts are relative to the source tree, wherever it was built.
add_compile_options(-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=)

add_library(orka_sanitizers INTERFACE)
if(ORKA_SANITIZE)
  target_compile_options(orka_sanitizers INTERFACE -fsanitize=${ORKA_SANITIZE} -fno-omit-frame-pointer)
  target_link_options(orka_sanitizers INTERFACE -fsanitize=${ORKA_SANITIZE})
  if(ORKA_SANITIZE MATCHES undefined)
    target_compile_options(orka_sanitizers INTERFACE -fno-sanitize-recover=undefined)
  endif()
endif()
