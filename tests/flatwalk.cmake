# The flat-array walk of the parallel library, linked against the shared
# libraries alone (the other test executables carry the kernel's objects).
add_executable(test_flatwalk ${CMAKE_CURRENT_SOURCE_DIR}/parallel/test_flatwalk.cpp)
target_link_libraries(test_flatwalk PRIVATE vorn3d_parallel GTest::gtest_main ${GMPXX_LIBRARY} ${GMP_LIBRARY})
gtest_discover_tests(test_flatwalk DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 600)
