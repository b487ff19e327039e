# Test helpers: one GoogleTest binary per folder, each test run as its own
# CTest test (so each runs in a fresh process with its own temporary root).

if(ARX_BUILD_TESTS)
  enable_testing()
  include(GoogleTest)
endif()

# arx_add_test(name SOURCES ... LIBS ... [LABELS ...])
function(arx_add_test name)
  if(NOT ARX_BUILD_TESTS)
    return()
  endif()
  cmake_parse_arguments(T "" "" "SOURCES;LIBS;LABELS" ${ARGN})
  add_executable(${name} ${T_SOURCES})
  target_link_libraries(${name} PRIVATE arx_testing ${T_LIBS} GTest::gtest_main)
  set(labels unit)
  if(T_LABELS)
    set(labels ${T_LABELS})
  endif()
  set(environment)
  if(ARX_SANITIZE)
    # The sanitizer's dlopen interceptor hides the caller's run path: test
    # binaries built from libarx's objects find libarx's URL matcher here.
    set(environment ENVIRONMENT "LD_LIBRARY_PATH=${PROJECT_BINARY_DIR}")
  endif()
  gtest_discover_tests(${name}
    DISCOVERY_MODE PRE_TEST
    PROPERTIES LABELS "${labels}" TIMEOUT 120 ${environment})
endfunction()

# arx_add_header_test(target include_dir glob LIBS ...): compiles every header
# matching the glob on its own, so that each one includes what it uses.
function(arx_add_header_test target include_dir glob)
  cmake_parse_arguments(H "" "" "LIBS" ${ARGN})
  file(GLOB headers RELATIVE "${include_dir}" CONFIGURE_DEPENDS "${include_dir}/${glob}")
  set(sources)
  foreach(header IN LISTS headers)
    string(MAKE_C_IDENTIFIER "${header}" stem)
    set(cxx "${CMAKE_CURRENT_BINARY_DIR}/${target}/${stem}.cc")
    file(CONFIGURE OUTPUT "${cxx}" CONTENT "#include <${header}>\n")
    list(APPEND sources "${cxx}")
    if(header MATCHES "^vorn/")
      # The platform headers are C headers: they must compile as C as well.
      set(c "${CMAKE_CURRENT_BINARY_DIR}/${target}/${stem}.c")
      file(CONFIGURE OUTPUT "${c}" CONTENT "#include <${header}>\n")
      list(APPEND sources "${c}")
    endif()
  endforeach()
  add_library(${target} OBJECT ${sources})
  target_compile_options(${target} PRIVATE -Wall -Wextra -Werror)
  target_link_libraries(${target} PRIVATE ${H_LIBS})
endfunction()
