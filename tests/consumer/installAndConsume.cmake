# Run with cmake -P by the install_and_consume test; see tests/install.cmake
# for the variables it gets.

function(runStep description)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${description} failed (${result}):\n${output}")
  endif()
  set(stepOutput "${output}" PARENT_SCOPE)
endfunction()

# The consumer's own output must end in this line; it prints it only after
# every one of its checks passed.
function(checkConsumerOutput how)
  if(NOT stepOutput MATCHES "consumer: all checks passed")
    message(FATAL_ERROR "consumer built through ${how} did not pass:\n${stepOutput}")
  endif()
  message(STATUS "consumer through ${how}:\n${stepOutput}")
endfunction()

set(prefix ${WORK_DIR}/prefix)
file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})

if(FULL)
  message(STATUS "consumer mode: full (umbrella header and triangulation)")
  set(modeDefinition -DVORN3D_CONSUMER_FULL=1)
else()
  message(STATUS "consumer mode: basic, the umbrella header is not complete yet (missing: ${MISSING})")
  set(modeDefinition)
endif()

runStep("install" ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})

foreach(expected
    ${INCLUDEDIR}/vorn3d/Vorn_3D.h ${INCLUDEDIR}/vorn3d/Point3.h ${INCLUDEDIR}/vorn3d/Tet3.h
    ${INCLUDEDIR}/vorn3d/Ball3.h ${INCLUDEDIR}/vorn3d/Triangle3.h ${INCLUDEDIR}/vorn3d/VornException.h
    ${INCLUDEDIR}/vorn3d/ParallelDelaunay3.h ${INCLUDEDIR}/vorn3d/FlatWalk3.h ${LIBDIR}/libvorn3d_parallel.so
    ${LIBDIR}/libvorn3d.so ${LIBDIR}/cmake/Vorn3D/Vorn3DConfig.cmake
    ${LIBDIR}/cmake/Vorn3D/Vorn3DConfigVersion.cmake ${LIBDIR}/pkgconfig/vorn3d.pc)
  if(NOT EXISTS ${prefix}/${expected})
    message(FATAL_ERROR "not installed: ${expected}")
  endif()
endforeach()
# Internal headers stay out of the installed tree.
foreach(internal TrelTest3.h HC3.h Dt3.h tools.h SimplePool.h Visualizer3.h)
  if(EXISTS ${prefix}/${INCLUDEDIR}/vorn3d/${internal})
    message(FATAL_ERROR "internal header installed: ${internal}")
  endif()
endforeach()

# The installed programs and the Python package start from the prefix with
# no help from the environment.
unset(ENV{LD_LIBRARY_PATH})
set(pointsFile ${WORK_DIR}/points.xyz)
set(points "")
foreach(i RANGE 1 200)
  math(EXPR x "(${i} * 7919) % 1009")
  math(EXPR y "(${i} * 104729) % 1013")
  math(EXPR z "(${i} * 1299709) % 1019")
  string(APPEND points "${x} ${y} ${z}\n")
endforeach()
file(WRITE ${pointsFile} "${points}")
foreach(program ${PROGRAMS})
  runStep("running the installed ${program}" ${prefix}/${BINDIR}/${program} ${pointsFile})
  if(NOT stepOutput MATCHES "tetrahedra")
    message(FATAL_ERROR "the installed ${program} reports no tetrahedra:\n${stepOutput}")
  endif()
  message(STATUS "installed ${program} runs")
endforeach()
if(PYTHON)
  set(ENV{PYTHONPATH} ${prefix}/${PYTHON_DIR})
  runStep("importing the installed Python package" ${PYTHON} -c
    "import numpy, vorn3d\np = numpy.loadtxt('${pointsFile}')\nd, e = vorn3d.Delaunay(p), vorn3d.Delaunay(p, workers=2)\nassert (e.find_simplex(p) >= 0).all() and e.nsimplex == d.nsimplex\nprint(vorn3d.__file__, d.nsimplex)")
  if(NOT stepOutput MATCHES "^${prefix}/")
    message(FATAL_ERROR "the Python package was not taken from the prefix:\n${stepOutput}")
  endif()
  unset(ENV{PYTHONPATH})
  message(STATUS "installed Python package: ${stepOutput}")
endif()

# 1. CMake package.
if(FULL)
  set(fullOption ON)
else()
  set(fullOption OFF)
endif()
runStep("configuring the consumer" ${CMAKE_COMMAND} -S ${CONSUMER_DIR} -B ${WORK_DIR}/build
  -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_CXX_COMPILER=${CXX} "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}"
  -DCMAKE_BUILD_TYPE=Release -DVORN3D_CONSUMER_FULL=${fullOption})
runStep("building the consumer" ${CMAKE_COMMAND} --build ${WORK_DIR}/build)
runStep("running the consumer" ${WORK_DIR}/build/consumer)
checkConsumerOutput("find_package")

# 2. pkg-config.
if(NOT PKG_CONFIG)
  message(FATAL_ERROR "pkg-config is needed for this test")
endif()
set(ENV{PKG_CONFIG_PATH} ${prefix}/${LIBDIR}/pkgconfig)
runStep("pkg-config --modversion" ${PKG_CONFIG} --modversion vorn3d)
string(STRIP "${stepOutput}" version)
if(NOT version STREQUAL "0.99.0")
  message(FATAL_ERROR "pkg-config reports version '${version}'")
endif()
runStep("pkg-config --cflags" ${PKG_CONFIG} --cflags vorn3d)
separate_arguments(pcCflags UNIX_COMMAND "${stepOutput}")
runStep("pkg-config --libs" ${PKG_CONFIG} --libs vorn3d)
separate_arguments(pcLibs UNIX_COMMAND "${stepOutput}")
runStep("pkg-config --variable=libdir" ${PKG_CONFIG} --variable=libdir vorn3d)
string(STRIP "${stepOutput}" pcLibdir)
separate_arguments(extraFlags UNIX_COMMAND "${CXX_FLAGS}")
runStep("compiling the consumer with pkg-config flags" ${CXX} -std=c++17 ${extraFlags} ${modeDefinition}
  ${pcCflags} ${CONSUMER_DIR}/consumer.cpp -o ${WORK_DIR}/consumer_pc ${pcLibs} -Wl,-rpath,${pcLibdir})
runStep("running the pkg-config consumer" ${WORK_DIR}/consumer_pc)
checkConsumerOutput("pkg-config")
