# What every target of this project is compiled with, and one function per kind of target.

add_library(limes_build_flags INTERFACE)
# Results are the same bits on every processor: no contraction into fused multiply-adds. The two
# others change no result; without them g++ leaves square roots and masked sums scalar.
target_compile_options(limes_build_flags INTERFACE
  $<$<CXX_COMPILER_ID:GNU,Clang,AppleClang>:-ffp-contract=off -fno-math-errno -fno-trapping-math
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow>)
if(LIMES_WERROR)
  target_compile_options(limes_build_flags INTERFACE
    $<$<CXX_COMPILER_ID:GNU,Clang,AppleClang>:-Werror>)
endif()
if(LIMES_SANITIZE)
  target_compile_options(limes_build_flags INTERFACE -fsanitize=${LIMES_SANITIZE}
    -fno-sanitize-recover=all -fno-omit-frame-pointer -g1)
  target_link_options(limes_build_flags INTERFACE -fsanitize=${LIMES_SANITIZE})
  target_compile_definitions(limes_build_flags INTERFACE _GLIBCXX_ASSERTIONS)
endif()

# What is shipped, and not what tests it, stops at damage to its memory instead of going on. The
# library's loops go without the checks of each index.
option(LIMES_HARDENING "Harden what is installed" ON)
add_library(limes_hardening INTERFACE)
if(LIMES_HARDENING AND NOT LIMES_SANITIZE AND CMAKE_SYSTEM_NAME STREQUAL "Linux")
  target_compile_options(limes_hardening INTERFACE -fstack-protector-strong -fstack-clash-protection
    $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2>)
  target_compile_definitions(limes_hardening INTERFACE
    $<$<NOT:$<STREQUAL:$<TARGET_PROPERTY:NAME>,limes_objects>>:_GLIBCXX_ASSERTIONS>)
  target_link_options(limes_hardening INTERFACE LINKER:-z,relro,-z,now)
endif()

# Installs headers with the folders they lie in.
function(limes_install_headers component)
  foreach(header ${ARGN})
    cmake_path(GET header PARENT_PATH folder)
    cmake_path(RELATIVE_PATH folder BASE_DIRECTORY "${PROJECT_SOURCE_DIR}" OUTPUT_VARIABLE folder)
    install(FILES "${header}" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/${folder}"
      COMPONENT ${component})
  endforeach()
endfunction()

# Tests spend their time in the library: compiling them is what costs, with sanitizers most of all.
# Only those of kernels have plain loops of their own to compare with.
function(limes_test_options target)
  target_link_libraries(${target} PRIVATE limes_static limes_build_flags GTest::gmock
    GTest::gtest_main)
  target_include_directories(${target} PRIVATE "${PROJECT_SOURCE_DIR}")
  if(LIMES_SANITIZE AND NOT target STREQUAL "limes_kernels_tests")
    target_compile_options(${target} PRIVATE -O0)
  else()
    target_compile_options(${target} PRIVATE $<$<NOT:$<CONFIG:Debug>>:-O1>)
  endif()
endfunction()

# One program per folder of tests: limes_test_dir(core) builds tests/core/*_test.cpp.
function(limes_test_dir name)
  file(GLOB sources CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/${name}/*_test.cpp")
  if(NOT sources)
    return()
  endif()
  add_executable(limes_${name}_tests ${sources})
  target_link_libraries(limes_${name}_tests PRIVATE ${ARGN})
  target_compile_definitions(limes_${name}_tests PRIVATE
    LIMES_TEST_DATA="${CMAKE_CURRENT_SOURCE_DIR}/data" LIMES_LIBRARY_FILE="$<TARGET_FILE:limes>")
  limes_test_options(limes_${name}_tests)
  add_dependencies(limes_${name}_tests limes)
  set(seconds 600)
  if(LIMES_SANITIZE)
    set(seconds 3600)
  endif()
  gtest_discover_tests(limes_${name}_tests TEST_PREFIX "${name}." DISCOVERY_MODE PRE_TEST
    DISCOVERY_TIMEOUT 60
    PROPERTIES TIMEOUT ${seconds})
endfunction()

# A fuzz target fuzz/NAME_fuzz.cpp with its seeds in fuzz/corpus/NAME; ctest replays the seeds.
function(limes_fuzz_target name)
  add_executable(${name}_fuzz "${CMAKE_CURRENT_SOURCE_DIR}/${name}_fuzz.cpp")
  target_link_libraries(${name}_fuzz PRIVATE limes_static limes_build_flags ${ARGN})
  target_include_directories(${name}_fuzz PRIVATE "${PROJECT_SOURCE_DIR}")
  if(LIMES_FUZZ)
    target_compile_options(${name}_fuzz PRIVATE -fsanitize=fuzzer)
    target_link_options(${name}_fuzz PRIVATE -fsanitize=fuzzer)
  else()
    target_link_libraries(${name}_fuzz PRIVATE limes_replay)
    if(LIMES_TESTS)
      add_test(NAME fuzz.${name} COMMAND ${name}_fuzz "${CMAKE_CURRENT_SOURCE_DIR}/corpus/${name}")
    endif()
  endif()
endfunction()

# A benchmark benchmarks/NAME_bench.cpp.
function(limes_benchmark name)
  add_executable(${name}_bench "${CMAKE_CURRENT_SOURCE_DIR}/${name}_bench.cpp")
  target_link_libraries(${name}_bench PRIVATE limes_static limes_build_flags benchmark::benchmark
    ${ARGN})
  target_include_directories(${name}_bench PRIVATE "${PROJECT_SOURCE_DIR}")
endfunction()
