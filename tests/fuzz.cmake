# Fuzzing of the STL reader (target fuzz_stl, ctest case fuzz_stl).
#
# With clang++ and its libFuzzer runtime (Debian: libclang-rt-14-dev) the
# target is a coverage-guided fuzzer with AddressSanitizer and
# UndefinedBehaviorSanitizer, built by clang whatever compiler builds the
# rest; ctest runs it for VORN3D_FUZZ_SECONDS. Without them the same target is
# linked with a driver that replays the seed corpus and VORN3D_FUZZ_RUNS seeded
# mutants of it, built like the other tests.
#
# Run longer by hand, e.g.:
#   build/test/tests/fuzz/fuzz_stl -max_total_time=600 build/test/tests/fuzz_work/corpus tests/fuzz/corpus

set(VORN3D_FUZZ_SECONDS 20 CACHE STRING "Time budget of the libFuzzer run in ctest, in seconds")
set(VORN3D_FUZZ_RUNS 300000 CACHE STRING "Number of mutants the fallback fuzz driver feeds in ctest")
option(VORN3D_FUZZ_WITH_LIBFUZZER "Build the fuzz target with clang's libFuzzer when it is available" ON)

set(VORN3D_FUZZ_SRC ${CMAKE_CURRENT_SOURCE_DIR}/fuzz)
set(VORN3D_FUZZ_WORK ${CMAKE_CURRENT_BINARY_DIR}/fuzz_work)
file(MAKE_DIRECTORY ${VORN3D_FUZZ_WORK}/corpus ${VORN3D_FUZZ_WORK}/artifacts)

# Is there a clang that can link -fsanitize=fuzzer? Probed once per build tree.
if(VORN3D_FUZZ_WITH_LIBFUZZER AND NOT DEFINED VORN3D_LIBFUZZER_CXX)
  set(libFuzzerCxx "")
  find_program(VORN3D_CLANGXX NAMES clang++ clang++-14 clang++-15 clang++-16)
  if(VORN3D_CLANGXX)
    set(probeDir ${CMAKE_CURRENT_BINARY_DIR}/fuzz_probe)
    file(MAKE_DIRECTORY ${probeDir})
    file(WRITE ${probeDir}/probe.cpp
      "#include <cstddef>\n#include <cstdint>\n"
      "extern \"C\" int LLVMFuzzerTestOneInput(const std::uint8_t*, std::size_t) { return 0; }\n")
    execute_process(
      COMMAND ${VORN3D_CLANGXX} -fsanitize=fuzzer,address,undefined probe.cpp -o probe
      WORKING_DIRECTORY ${probeDir} RESULT_VARIABLE probeResult OUTPUT_QUIET ERROR_QUIET)
    if(probeResult EQUAL 0)
      set(libFuzzerCxx ${VORN3D_CLANGXX})
    endif()
  endif()
  set(VORN3D_LIBFUZZER_CXX "${libFuzzerCxx}" CACHE INTERNAL "clang++ able to build libFuzzer targets")
endif()

# The reader and the value classes it rests on; the kernel is not needed.
set(fuzzLibrarySources "")
foreach(src Surface3.cpp Point3.cpp Triangle3.cpp Bbox3.cpp Ball3.cpp tools.cpp)
  if(EXISTS ${CMAKE_SOURCE_DIR}/dt3Library/${src})
    list(APPEND fuzzLibrarySources ${CMAKE_SOURCE_DIR}/dt3Library/${src})
  endif()
endforeach()

if(VORN3D_FUZZ_WITH_LIBFUZZER AND VORN3D_LIBFUZZER_CXX)
  message(STATUS "fuzz_stl: libFuzzer with ${VORN3D_LIBFUZZER_CXX}")
  file(GLOB fuzzHeaders CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/dt3Library/*.h
    ${CMAKE_CURRENT_SOURCE_DIR}/support/SurfaceChecks.h)
  set(fuzzBinary ${CMAKE_CURRENT_BINARY_DIR}/fuzz/fuzz_stl)
  file(MAKE_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/fuzz)
  add_custom_command(OUTPUT ${fuzzBinary}
    COMMAND ${VORN3D_LIBFUZZER_CXX} -std=c++17 -g -O1 -Wall -Wextra -Wpedantic -ffp-contract=off
      "-ffile-prefix-map=${CMAKE_SOURCE_DIR}/="
      -fsanitize=fuzzer,address,undefined -fno-sanitize-recover=undefined
      -DVORN3D_BUILDING_LIBRARY
      -I${CMAKE_SOURCE_DIR}/dt3Library -I${CMAKE_SOURCE_DIR}/dt3Library/trel_tools
      -I${CMAKE_CURRENT_SOURCE_DIR}/support
      ${VORN3D_FUZZ_SRC}/fuzz_stl.cpp ${fuzzLibrarySources} -o ${fuzzBinary}
    DEPENDS ${VORN3D_FUZZ_SRC}/fuzz_stl.cpp ${fuzzLibrarySources} ${fuzzHeaders}
    COMMENT "Building the libFuzzer target fuzz_stl with ${VORN3D_LIBFUZZER_CXX}"
    VERBATIM)
  add_custom_target(fuzz_stl ALL DEPENDS ${fuzzBinary})
  # New interesting inputs go to the build tree; the seeds in the source tree
  # are only read.
  add_test(NAME fuzz_stl
    COMMAND ${fuzzBinary} -max_total_time=${VORN3D_FUZZ_SECONDS} -seed=1 -timeout=10 -max_len=8192
      -rss_limit_mb=1024 -print_final_stats=1 -dict=${VORN3D_FUZZ_SRC}/stl.dict
      -artifact_prefix=${VORN3D_FUZZ_WORK}/artifacts/
      ${VORN3D_FUZZ_WORK}/corpus ${VORN3D_FUZZ_SRC}/corpus
    WORKING_DIRECTORY ${VORN3D_FUZZ_WORK})
  set_tests_properties(fuzz_stl PROPERTIES TIMEOUT 300 COST 1000)
else()
  message(STATUS "fuzz_stl: no libFuzzer, using the replay-and-mutate driver")
  add_executable(fuzz_stl ${VORN3D_FUZZ_SRC}/fuzz_stl.cpp ${VORN3D_FUZZ_SRC}/fuzz_driver.cpp)
  # Through the support archive, so only the objects the reader needs are linked.
  target_link_libraries(fuzz_stl PRIVATE vorn3d_testsupport)
  add_test(NAME fuzz_stl
    COMMAND fuzz_stl -runs=${VORN3D_FUZZ_RUNS} -seed=1 ${VORN3D_FUZZ_SRC}/corpus
    WORKING_DIRECTORY ${VORN3D_FUZZ_WORK})
  set_tests_properties(fuzz_stl PROPERTIES TIMEOUT 300 COST 1000)
endif()
