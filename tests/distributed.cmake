# The distributed program on 1, 2 and 4 processes (oversubscribed on small
# machines): its cells against one Vorn_3D object with the perturbation on,
# general-position sets and a 30^3 grid with 2000 duplicates alike, without
# the fallback. Not in the sanitizer build, where the MPI
# library's own allocations would count as leaks.
if(TARGET vorn3d-mpi AND NOT VORN3D_SANITIZE)
  add_executable(check_cells ${CMAKE_CURRENT_SOURCE_DIR}/distributed/check_cells.cpp)
  target_link_libraries(check_cells PRIVATE vorn3d_testsupport vorn3d_pointfile)
  # The transfer helpers, chunked and in one call, on 3 processes.
  add_executable(test_transfer ${CMAKE_CURRENT_SOURCE_DIR}/distributed/test_transfer.cpp)
  target_link_libraries(test_transfer PRIVATE vorn3d_distributed)
  add_test(NAME mpi.transfer
    COMMAND ${MPIEXEC_EXECUTABLE} --allow-run-as-root --oversubscribe -np 3 $<TARGET_FILE:test_transfer>)
  set_tests_properties(mpi.transfer PROPERTIES TIMEOUT 120)
  set(mpiDir ${CMAKE_CURRENT_BINARY_DIR}/distributed)
  file(MAKE_DIRECTORY ${mpiDir})
  foreach(set uniform:20000:same clustered:3000:same elongated:50000:same sphere:2000:same grid:29000:same)
    string(REPLACE ":" ";" parts ${set})
    list(GET parts 0 kind)
    list(GET parts 1 count)
    list(GET parts 2 mode)
    foreach(np 1 2 4)
      add_test(NAME mpi.${kind}.np${np}
        COMMAND ${CMAKE_COMMAND} -DCHECK=$<TARGET_FILE:check_cells> -DPROGRAM=$<TARGET_FILE:vorn3d-mpi>
          -DMPIEXEC=${MPIEXEC_EXECUTABLE} -DNP=${np} -DKIND=${kind} -DCOUNT=${count} -DMODE=${mode}
          -DWORK=${mpiDir}/${kind}.np${np} -P ${CMAKE_CURRENT_SOURCE_DIR}/distributed/run_case.cmake)
      set_tests_properties(mpi.${kind}.np${np} PROPERTIES TIMEOUT 300)
    endforeach()
  endforeach()
  # Binary PLY input, read by each process in its share only (the test
  # checks the bytes each process read).
  foreach(np 2 3)
    add_test(NAME mpi.uniform_ply.np${np}
      COMMAND ${CMAKE_COMMAND} -DCHECK=$<TARGET_FILE:check_cells> -DPROGRAM=$<TARGET_FILE:vorn3d-mpi>
        -DDEMO=$<TARGET_FILE:vorn3d_demo> -DMPIEXEC=${MPIEXEC_EXECUTABLE} -DNP=${np} -DKIND=uniform -DCOUNT=20001
        -DMODE=same -DWORK=${mpiDir}/uniform_ply.np${np} -P ${CMAKE_CURRENT_SOURCE_DIR}/distributed/run_case.cmake)
    set_tests_properties(mpi.uniform_ply.np${np} PROPERTIES TIMEOUT 300)
  endforeach()
endif()
