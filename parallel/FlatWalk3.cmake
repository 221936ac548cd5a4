# Point location in the flat arrays, part of vorn3d_parallel.
target_sources(vorn3d_parallel PRIVATE ${CMAKE_CURRENT_LIST_DIR}/FlatWalk3.cpp)
configure_file(${CMAKE_CURRENT_LIST_DIR}/FlatWalk3.h ${CMAKE_BINARY_DIR}/include/vorn3d/FlatWalk3.h COPYONLY)
install(FILES ${CMAKE_CURRENT_LIST_DIR}/FlatWalk3.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vorn3d)
