# Compiler, warnings, sanitizers and speed of the build, for every target of the project.

if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 14)
  message(FATAL_ERROR "g++ below 14 destroys coroutine temporaries twice; configure with clang++-19.")
endif()

option(LUMBRO_TESTS "Build the tests" ON)
option(LUMBRO_BENCH "Build the benchmarks" OFF)
option(LUMBRO_FUZZ "Build the fuzz targets" OFF)
option(LUMBRO_COVERAGE "Instrument for coverage" OFF)
set(LUMBRO_SANITIZER "" CACHE STRING "address (with undefined), thread, or empty")

set(CMAKE_CXX_STANDARD 23)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_AUTOMOC ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

# Where an installation has modules, below its prefix.
set(LUMBRO_MODULE_FOLDER "lib/lumbro")

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM)
  set(CMAKE_C_COMPILER_LAUNCHER
      ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime
      CCACHE_NOHASHDIR=1 ${CCACHE_PROGRAM})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_C_COMPILER_LAUNCHER})
endif()

add_library(lumbro_options INTERFACE)
target_compile_options(lumbro_options INTERFACE
  -Wall -Wextra -Wpedantic -Werror -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wunused
  -Wcast-align -Wformat=2 -Wimplicit-fallthrough -Wextra-semi -Wno-unused-parameter -Wno-deprecated-declarations
  -fno-omit-frame-pointer -Xclang -fno-pch-timestamp)
target_compile_definitions(lumbro_options INTERFACE
  QT_NO_CAST_TO_ASCII QT_NO_URL_CAST_FROM_STRING QT_NO_FOREACH QT_NO_KEYWORDS QT_MESSAGELOGCONTEXT)
target_include_directories(lumbro_options INTERFACE "${PROJECT_SOURCE_DIR}" "${PROJECT_SOURCE_DIR}/Lumbro")
target_link_options(lumbro_options INTERFACE -fuse-ld=lld-19 -Wl,--as-needed)

if(CMAKE_BUILD_TYPE STREQUAL "Debug")
  # Line tables keep stack traces readable at a third of the size of full debug information.
  set(CMAKE_CXX_FLAGS_DEBUG "-Og -gline-tables-only")
  set(CMAKE_C_FLAGS_DEBUG "-Og -gline-tables-only")
else()
  target_link_options(lumbro_options INTERFACE -Wl,-O1 -Wl,--gc-sections)
  target_compile_options(lumbro_options INTERFACE -ffunction-sections -fdata-sections)
endif()

if(LUMBRO_SANITIZER STREQUAL "address")
  target_compile_options(lumbro_options INTERFACE -fsanitize=address,undefined -fno-sanitize-recover=undefined)
  target_link_options(lumbro_options INTERFACE -fsanitize=address,undefined)
elseif(LUMBRO_SANITIZER STREQUAL "thread")
  target_compile_options(lumbro_options INTERFACE -fsanitize=thread)
  target_link_options(lumbro_options INTERFACE -fsanitize=thread)
elseif(LUMBRO_SANITIZER)
  message(FATAL_ERROR "LUMBRO_SANITIZER is 'address', 'thread' or empty, not '${LUMBRO_SANITIZER}'.")
endif()
if(LUMBRO_COVERAGE)
  target_compile_options(lumbro_options INTERFACE -fprofile-instr-generate -fcoverage-mapping)
  target_link_options(lumbro_options INTERFACE -fprofile-instr-generate)
endif()
if(LUMBRO_FUZZ)
  target_compile_options(lumbro_options INTERFACE -fsanitize=fuzzer-no-link)
endif()
