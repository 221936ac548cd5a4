# The Python package's tests (pytest, scipy as the peer), its example and the
# pip install test, run with the interpreter the module was built for and the
# module from the build tree. Each runs only when what it needs imports in
# that interpreter, checked here at configure time; otherwise it shows as
# skipped, with the reason.
function(vorn3d_skipped_test name reason)
  add_test(NAME ${name} COMMAND ${CMAKE_COMMAND} -E echo "SKIPPED: ${reason}")
  set_tests_properties(${name} PROPERTIES SKIP_REGULAR_EXPRESSION "SKIPPED:")
endfunction()

# Sets <variable> to "" when every module in the list imports, otherwise to
# the names of those that do not.
function(vorn3d_missing_modules variable python)
  set(missing "")
  foreach(module ${ARGN})
    execute_process(COMMAND ${python} -c "import ${module}" RESULT_VARIABLE rc OUTPUT_QUIET ERROR_QUIET)
    if(NOT rc EQUAL 0)
      list(APPEND missing ${module})
    endif()
  endforeach()
  string(REPLACE ";" ", " missing "${missing}")
  set(${variable} "${missing}" PARENT_SCOPE)
endfunction()

if(TARGET vorn3d_core)
  get_target_property(VORN3D_PYTHON vorn3d_core VORN3D_PYTHON)
  set(pythonEnvironment "PYTHONPATH=${CMAKE_BINARY_DIR}/python;PYTHONDONTWRITEBYTECODE=1")

  vorn3d_missing_modules(missing ${VORN3D_PYTHON} pytest scipy)
  if(missing STREQUAL "")
    add_test(NAME python.pytest
      COMMAND ${VORN3D_PYTHON} -m pytest -q -p no:cacheprovider ${CMAKE_CURRENT_SOURCE_DIR}/python)
    set_tests_properties(python.pytest PROPERTIES TIMEOUT 300 ENVIRONMENT "${pythonEnvironment}")
  else()
    message(STATUS "python.pytest skipped: ${VORN3D_PYTHON} lacks ${missing}")
    vorn3d_skipped_test(python.pytest "${VORN3D_PYTHON} lacks ${missing} (Debian: python3-pytest python3-scipy)")
  endif()

  add_test(NAME example.python_delaunay_demo
    COMMAND ${VORN3D_PYTHON} ${CMAKE_SOURCE_DIR}/examples/python/delaunay_demo.py)
  set_tests_properties(example.python_delaunay_demo PROPERTIES TIMEOUT 300 ENVIRONMENT "${pythonEnvironment}")

  # The Voronoi example on a small set, writing its histogram here.
  vorn3d_missing_modules(missing ${VORN3D_PYTHON} matplotlib)
  if(missing STREQUAL "")
    add_test(NAME example.python_voronoi_volumes
      COMMAND ${VORN3D_PYTHON} ${CMAKE_SOURCE_DIR}/examples/python/voronoi_volumes.py 5000
        ${CMAKE_CURRENT_BINARY_DIR}/voronoi_volumes.png)
    set_tests_properties(example.python_voronoi_volumes PROPERTIES TIMEOUT 300 ENVIRONMENT "${pythonEnvironment}")
  else()
    message(STATUS "example.python_voronoi_volumes skipped: ${VORN3D_PYTHON} lacks matplotlib")
    vorn3d_skipped_test(example.python_voronoi_volumes "${VORN3D_PYTHON} lacks matplotlib (Debian: python3-matplotlib)")
  endif()

  vorn3d_missing_modules(missing ${VORN3D_PYTHON} venv ensurepip setuptools wheel)
  if(missing STREQUAL "")
    add_test(NAME python.pip_install
      COMMAND ${CMAKE_COMMAND} -DSOURCE_DIR=${CMAKE_SOURCE_DIR} -DWORK_DIR=${CMAKE_CURRENT_BINARY_DIR}/pip_install
        -DPYTHON=${VORN3D_PYTHON} -P ${CMAKE_CURRENT_SOURCE_DIR}/python/pipInstall.cmake)
    # A whole Release build of the library: minutes on a busy machine.
    set_tests_properties(python.pip_install PROPERTIES TIMEOUT 1800)
  else()
    message(STATUS "python.pip_install skipped: ${VORN3D_PYTHON} lacks ${missing}")
    vorn3d_skipped_test(python.pip_install
      "${VORN3D_PYTHON} lacks ${missing} (Debian: python3-venv python3-setuptools python3-wheel)")
  endif()
else()
  foreach(name python.pytest example.python_delaunay_demo example.python_voronoi_volumes python.pip_install)
    vorn3d_skipped_test(${name} "the Python module vorn3d is not part of this build (see the CMake output)")
  endforeach()
endif()
