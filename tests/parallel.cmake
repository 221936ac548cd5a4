# The parallel library's tests (the threaded builder, the walk in its flat
# arrays), linked against the shared libraries alone: the other test
# executables carry the kernel's objects, and a second copy of the kernel
# beside libvorn3d.so is an ODR violation the address sanitizer rejects.
add_executable(test_flatwalk ${CMAKE_CURRENT_SOURCE_DIR}/parallel/test_flatwalk.cpp)
add_executable(test_parallel ${CMAKE_CURRENT_SOURCE_DIR}/parallel/test_parallel.cpp
  ${CMAKE_CURRENT_SOURCE_DIR}/support/ExactPredicates.cpp)
# The exact oracle includes the public Point3 header by its plain name.
target_include_directories(test_parallel PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/support ${CMAKE_SOURCE_DIR}/dt3Library)
# Its checks run over whole meshes: optimised, like the oracles.
target_compile_options(test_parallel PRIVATE -O2)
foreach(t test_flatwalk test_parallel)
  target_link_libraries(${t} PRIVATE vorn3d_parallel GTest::gtest_main ${GMPXX_LIBRARY} ${GMP_LIBRARY})
  gtest_discover_tests(${t} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 600)
endforeach()
