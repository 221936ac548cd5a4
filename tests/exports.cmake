# Checks the dynamic symbol table of the shared library: the public classes
# and functions are exported, the kernel, the vertex store, the predicates,
# the pools, the scene writer and the message routines are not.
add_test(NAME exported_symbols
  COMMAND ${CMAKE_COMMAND} -DLIBRARY=$<TARGET_FILE:vorn3d> -DNM=${CMAKE_NM}
    -P ${CMAKE_CURRENT_SOURCE_DIR}/support/checkExports.cmake)
