# lumbro_test(NAME SOURCES file… DEPENDS module… [PROGRAMS target…] [THREADED] [LEAKS] [ALONE] [TIMEOUT seconds])
#
# One test program; every case is a ctest entry of its own and runs in a process of its own. THREADED cases
# also run under ThreadSanitizer; with that sanitizer no other test is built.
# PROGRAMS are built before it because it runs them.
# ALONE cases have the machine to themselves: they are about real time, though they must not depend on its speed.
# LEAKS fails cases that leak; for tests that leave no coroutine suspended.

function(lumbro_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "THREADED;LEAKS;ALONE" "TIMEOUT" "SOURCES;DEPENDS;LIBRARIES;PROGRAMS")
  if(LUMBRO_SANITIZER STREQUAL "thread" AND NOT arg_THREADED)
    return()
  endif()
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 300)
  endif()
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE test_support ${arg_DEPENDS} ${arg_LIBRARIES})
  target_precompile_headers(${name} REUSE_FROM lumbro_pch)
  target_compile_definitions(${name} PRIVATE
    LUMBRO_SOURCE_DIR="${PROJECT_SOURCE_DIR}" LUMBRO_BINARY_DIR="${PROJECT_BINARY_DIR}")
  if(arg_PROGRAMS)
    add_dependencies(${name} ${arg_PROGRAMS})
  endif()
  set(environment "${LUMBRO_TEST_ENVIRONMENT}")
  if(arg_LEAKS)
    string(REPLACE "detect_leaks=0" "detect_leaks=1" environment "${environment}")
  endif()
  if(arg_ALONE)
    set(alone RUN_SERIAL TRUE)
  endif()
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST TEST_PREFIX "${name}."
    PROPERTIES TIMEOUT ${arg_TIMEOUT} ENVIRONMENT "${environment}" ${alone})
endfunction()

# A suspended coroutine that is dropped with its clock at the end of a test is no leak worth a failure. Programs that
# tests start take this over; what else sanitizers are told stands in tests/support/TestMain.cpp.
set(LUMBRO_TEST_ENVIRONMENT "ASAN_OPTIONS=detect_leaks=0:detect_stack_use_after_return=0")
