# One distributed case: write the points, run vorn3d-mpi, check its cells.
file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK})
function(run)
  execute_process(COMMAND ${ARGN} WORKING_DIRECTORY ${WORK} RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
  message("${out}${err}")
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "exit status ${status}: ${ARGN}")
  endif()
  set(out "${out}" PARENT_SCOPE)
endfunction()
run(${CHECK} gen ${KIND} ${COUNT} points.xyz)
run(${MPIEXEC} --allow-run-as-root --oversubscribe -np ${NP} ${PROGRAM} points.xyz --cells cells.txt -o mesh.vtk)
# The processes certify every set of the tests themselves, degenerate ones
# included (the perturbation breaks their ties alike everywhere): the whole
# set on rank 0 would hide a fault of the distributed path.
if(MODE STREQUAL "same" AND out MATCHES "fallback")
  message(FATAL_ERROR "the input took the fallback")
endif()
run(${CHECK} ${MODE} points.xyz cells.txt)
