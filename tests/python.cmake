# The Python package's tests (pytest) and its example, run with the
# interpreter the module was built for and the module from the build tree.
# Without the module (no Python 3, numpy or pybind11, or the sanitizer
# build) they show as skipped, with the reason.
if(TARGET vorn3d_core)
  get_target_property(VORN3D_PYTHON vorn3d_core VORN3D_PYTHON)
  add_test(NAME python.pytest
    COMMAND ${VORN3D_PYTHON} -m pytest -q -p no:cacheprovider ${CMAKE_CURRENT_SOURCE_DIR}/python)
  add_test(NAME example.python_delaunay_demo
    COMMAND ${VORN3D_PYTHON} ${CMAKE_SOURCE_DIR}/examples/python/delaunay_demo.py)
  # The Voronoi example on a small set, writing its histogram here.
  add_test(NAME example.python_voronoi_volumes
    COMMAND ${VORN3D_PYTHON} ${CMAKE_SOURCE_DIR}/examples/python/voronoi_volumes.py 5000
      ${CMAKE_CURRENT_BINARY_DIR}/voronoi_volumes.png)
  set_tests_properties(python.pytest example.python_delaunay_demo example.python_voronoi_volumes PROPERTIES TIMEOUT 300
    ENVIRONMENT "PYTHONPATH=${CMAKE_BINARY_DIR}/python;PYTHONDONTWRITEBYTECODE=1")
  add_test(NAME python.pip_install
    COMMAND ${CMAKE_COMMAND} -DSOURCE_DIR=${CMAKE_SOURCE_DIR} -DWORK_DIR=${CMAKE_CURRENT_BINARY_DIR}/pip_install
      -DPYTHON=${VORN3D_PYTHON} -P ${CMAKE_CURRENT_SOURCE_DIR}/python/pipInstall.cmake)
  # A whole Release build of the library: minutes on a busy machine.
  set_tests_properties(python.pip_install PROPERTIES TIMEOUT 1800)
else()
  foreach(name python.pytest example.python_delaunay_demo example.python_voronoi_volumes python.pip_install)
    add_test(NAME ${name} COMMAND ${CMAKE_COMMAND} -E echo
      "SKIPPED: the Python module vorn3d is not part of this build (see the CMake output)")
    set_tests_properties(${name} PROPERTIES SKIP_REGULAR_EXPRESSION "SKIPPED:")
  endforeach()
endif()
