# CGAL as a peer: the perturbed mesh must have the cells of CGAL's
# Delaunay_triangulation_3 on degenerate input. Built only where CGAL's
# headers are installed (Debian's libcgal-dev; CI installs it).
# The debug build is what the tests run; CGAL need not warn about it.
set(CGAL_DO_NOT_WARN_ABOUT_CMAKE_BUILD_TYPE TRUE CACHE BOOL "No CGAL notice about the debug build")
find_package(CGAL QUIET)
if(CGAL_FOUND)
  add_executable(test_cgal_peer ${CMAKE_CURRENT_SOURCE_DIR}/peer/test_cgal_peer.cpp)
  target_link_libraries(test_cgal_peer PRIVATE vorn3d_testsupport CGAL::CGAL GTest::gtest_main)
  # CGAL's headers are heavy; optimise so that the peer runs quickly even in
  # the debug build.
  target_compile_options(test_cgal_peer PRIVATE -O1)
  gtest_discover_tests(test_cgal_peer DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
    WORKING_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/work PROPERTIES TIMEOUT 600)
else()
  message(STATUS "CGAL not found: the CGAL peer test is not built")
endif()
