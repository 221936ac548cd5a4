# Run with cmake -P by the exported_symbols test (tests/exports.cmake).
execute_process(COMMAND ${NM} -D -C --defined-only ${LIBRARY}
  RESULT_VARIABLE result OUTPUT_VARIABLE symbols ERROR_VARIABLE errors)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "${NM} failed on ${LIBRARY}: ${errors}")
endif()

set(numProblems 0)
foreach(required
    "VORN3D::Point3::debug() const"
    "VORN3D::Segment3::debug() const"
    "VORN3D::Vector3::normalize()"
    "VORN3D::Bbox3::add(std::vector<VORN3D::Point3"
    "VORN3D::Bbox3::debug() const"
    "VORN3D::Ball3::debug() const"
    "VORN3D::Triangle3::getIntraTriangleIndex(VORN3D::Point3*, VORN3D::Point3*) const"
    "VORN3D::Surface3::readSTL("
    "VORN3D::Surface3::readSTLFromMemory("
    "VORN3D::Surface3::~Surface3()"
    "VORN3D::Tet3::setProperties("
    "VORN3D::Tet3::runningLabel"
    "VORN3D::Tet3::aFacetCorners"
    "VORN3D::operator<<(std::ostream&, VORN3D::Tet3 const&)"
    "VORN3D::generateRandomNumbers("
    "VORN3D::generateRandomPoints("
    "VORN3D::timer("
    "VORN3D::getNormalVector("
    "VORN3D::getVorn3DVersion[abi:cxx11]()"
    "VORN3D::getMajorVersionNumber()"
    "VORN3D::isRelease()"
    " benchCounter("
    "VornException::what() const"
    "VornException::detail() const"
    "typeinfo for VornException"
    "typeinfo for VornInputError")
  string(FIND "${symbols}" "${required}" position)
  if(position EQUAL -1)
    message(SEND_ERROR "not exported: ${required}")
    math(EXPR numProblems "${numProblems} + 1")
  endif()
endforeach()

foreach(internal
    "VORN3D::TrelTest3::" "VORN3D::HC3::" "VORN3D::Dt3::" "VORN3D::Visualizer3::" "VORN3D::SimplePool<"
    "VORN3D::printWarning" "VORN3D::printError" "VORN3D::printHeadline" "VORN3D::goToHell"
    "VORN3D::conditionFailed" "VORN3D::operator<<(std::ostream&, VORN3D::Point3 const&)"
    "VORN3D::operator<<(std::ostream&, VORN3D::Triangle3 const&)")
  string(FIND "${symbols}" "${internal}" position)
  if(NOT position EQUAL -1)
    message(SEND_ERROR "internal symbol exported: ${internal}")
    math(EXPR numProblems "${numProblems} + 1")
  endif()
endforeach()

if(numProblems GREATER 0)
  message(FATAL_ERROR "${numProblems} problems in the exported symbols of ${LIBRARY}")
endif()
message(STATUS "exported symbols of ${LIBRARY} as expected")
