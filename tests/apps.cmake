# Tests of the demo program: its file reader and VTK writer, and the program
# itself on good and bad input.
if(TARGET vorn3d_pointfile)
  add_executable(test_pointfile ${CMAKE_CURRENT_SOURCE_DIR}/apps/test_pointfile.cpp)
  target_link_libraries(test_pointfile PRIVATE vorn3d_pointfile GTest::gtest_main)
  gtest_discover_tests(test_pointfile DISCOVERY_MODE PRE_TEST
    WORKING_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/work)

  set(demoCase ${CMAKE_CURRENT_SOURCE_DIR}/apps/run_demo_case.cmake)
  set(demoDir ${CMAKE_CURRENT_BINARY_DIR}/demo)
  file(MAKE_DIRECTORY ${demoDir})
  function(add_demo_case name input expectedExit expectedText extraArgs)
    add_test(NAME demo.${name}
      COMMAND ${CMAKE_COMMAND} -DDEMO=$<TARGET_FILE:vorn3d_demo> -DWORK=${demoDir}/${name}
        -DINPUT=${input} -DEXPECTED_EXIT=${expectedExit} -DEXPECTED_TEXT=${expectedText}
        "-DEXTRA_ARGS=${extraArgs}" -P ${demoCase})
  endfunction()
  add_demo_case(random "" 0 "validity +passed" "-n 20000")
  add_demo_case(text_file "good.xyz" 0 "tetrahedra" "")
  add_demo_case(missing_file "does-not-exist.xyz" 1 "does-not-exist.xyz: cannot open file" "")
  add_demo_case(malformed_line "malformed.xyz" 1 "malformed.xyz:3: malformed line" "")
  add_demo_case(not_a_number "word.xyz" 1 "word.xyz:2: not a number" "")
  add_demo_case(non_finite "nan.xyz" 1 "nan.xyz:4: non-finite coordinate" "")
endif()
