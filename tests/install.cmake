# Installs the library into a scratch prefix and builds a small program
# against the installed package, once through find_package(Vorn3D) and once
# through pkg-config, so that a broken install fails the tests.

# The consumer includes the umbrella header and drives a triangulation once
# everything that header pulls in is part of the library; until then it
# uses the value classes only, and says so in its output.
set(VORN3D_CONSUMER_MISSING "")
file(STRINGS ${CMAKE_SOURCE_DIR}/dt3Library/Vorn_3D.h VORN3D_UMBRELLA_INCLUDES REGEX "^#include \"")
foreach(line ${VORN3D_UMBRELLA_INCLUDES})
  string(REGEX REPLACE "^#include \"([^\"]+)\".*" "\\1" header "${line}")
  if(NOT EXISTS ${CMAKE_SOURCE_DIR}/dt3Library/${header})
    list(APPEND VORN3D_CONSUMER_MISSING ${header})
  endif()
endforeach()
if(NOT EXISTS ${CMAKE_SOURCE_DIR}/dt3Library/Vorn_3D.cpp)
  list(APPEND VORN3D_CONSUMER_MISSING Vorn_3D.cpp)
endif()
if(VORN3D_CONSUMER_MISSING)
  set(VORN3D_CONSUMER_FULL OFF)
else()
  set(VORN3D_CONSUMER_FULL ON)
endif()

set(VORN3D_CONSUMER_FLAGS "")
if(VORN3D_SANITIZE)
  set(VORN3D_CONSUMER_FLAGS "-fsanitize=address,undefined -fno-omit-frame-pointer")
endif()

find_program(VORN3D_PKG_CONFIG NAMES pkg-config pkgconf)

# The installed programs and Python package are run from the prefix without
# LD_LIBRARY_PATH: they must find the library through their run path.
set(VORN3D_INSTALLED_PROGRAMS "")
if(TARGET vorn3d_demo)
  list(APPEND VORN3D_INSTALLED_PROGRAMS vorn3d_demo)
endif()
# (Not vorn3d-mpi under the sanitizers: the MPI library's own allocations
# count as leaks there.)
if(TARGET vorn3d-mpi AND NOT VORN3D_SANITIZE)
  list(APPEND VORN3D_INSTALLED_PROGRAMS vorn3d-mpi)
endif()
set(VORN3D_INSTALLED_PYTHON "")
if(TARGET vorn3d_core AND NOT IS_ABSOLUTE "${VORN3D_PYTHON_INSTALL_DIR}")
  get_target_property(VORN3D_INSTALLED_PYTHON vorn3d_core VORN3D_PYTHON)
endif()

add_test(NAME install_and_consume
  COMMAND ${CMAKE_COMMAND}
    -DBUILD_DIR=${CMAKE_BINARY_DIR}
    -DWORK_DIR=${CMAKE_CURRENT_BINARY_DIR}/install_and_consume
    -DCONSUMER_DIR=${CMAKE_CURRENT_SOURCE_DIR}/consumer
    -DLIBDIR=${CMAKE_INSTALL_LIBDIR}
    -DINCLUDEDIR=${CMAKE_INSTALL_INCLUDEDIR}
    -DCXX=${CMAKE_CXX_COMPILER}
    "-DCXX_FLAGS=${VORN3D_CONSUMER_FLAGS}"
    -DFULL=${VORN3D_CONSUMER_FULL}
    "-DMISSING=${VORN3D_CONSUMER_MISSING}"
    -DPKG_CONFIG=${VORN3D_PKG_CONFIG}
    -DBINDIR=${CMAKE_INSTALL_BINDIR}
    "-DPROGRAMS=${VORN3D_INSTALLED_PROGRAMS}"
    -DPYTHON=${VORN3D_INSTALLED_PYTHON}
    -DPYTHON_DIR=${VORN3D_PYTHON_INSTALL_DIR}
    -P ${CMAKE_CURRENT_SOURCE_DIR}/consumer/installAndConsume.cmake)
set_tests_properties(install_and_consume PROPERTIES TIMEOUT 300)
