# The README's install command for the Python package, for real: a copy of
# the sources, a venv that sees the system's packages, pip without build
# isolation (no package index needed); then the example runs, from another
# folder, on the installed package.
# Arguments: -DSOURCE_DIR=... -DWORK_DIR=... -DPYTHON=...
file(REMOVE_RECURSE ${WORK_DIR})
foreach(item CMakeLists.txt cmake dt3Library dual parallel python pyproject.toml setup.py)
  file(COPY ${SOURCE_DIR}/${item} DESTINATION ${WORK_DIR}/src)
endforeach()

function(run dir)
  execute_process(COMMAND ${ARGN} WORKING_DIRECTORY ${dir} RESULT_VARIABLE rc)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed with ${rc}: ${ARGN}")
  endif()
endfunction()

run(${WORK_DIR}/src ${PYTHON} -m venv --system-site-packages .venv)
run(${WORK_DIR}/src .venv/bin/pip install --no-build-isolation .)
run(${WORK_DIR} src/.venv/bin/python -c
  "import vorn3d; assert vorn3d.__file__.startswith('${WORK_DIR}/src/.venv/'), vorn3d.__file__")
run(${WORK_DIR} src/.venv/bin/python ${SOURCE_DIR}/examples/python/delaunay_demo.py)
