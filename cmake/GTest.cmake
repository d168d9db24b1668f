# plug_gtest: the test library with its main(), for the machine or for the router.
#
# For the machine Debian ships it compiled. For the router it is compiled from the sources that Debian ships (package
# googletest), only when a test needs it, with warnings off because it is not ours, and without LTO because that
# takes its build from seconds to minutes and tests gain nothing from it.
find_package(Threads REQUIRED)
add_library(plug_gtest INTERFACE)

if(NOT CMAKE_CROSSCOMPILING)
  find_package(GTest REQUIRED)
  target_link_libraries(plug_gtest INTERFACE GTest::gtest GTest::gtest_main Threads::Threads)
else()
  set(PLUG_GTEST_SOURCES /usr/src/googletest CACHE PATH "sources of the test library, for cross-building")
  if(NOT EXISTS "${PLUG_GTEST_SOURCES}/CMakeLists.txt")
    message(FATAL_ERROR "No test library sources in ${PLUG_GTEST_SOURCES}. Run scripts/install-packages.sh mipsel")
  endif()
  set(BUILD_GMOCK OFF CACHE INTERNAL "")
  set(INSTALL_GTEST OFF CACHE INTERNAL "")
  add_subdirectory("${PLUG_GTEST_SOURCES}" "${CMAKE_BINARY_DIR}/googletest" EXCLUDE_FROM_ALL)
  foreach(library gtest gtest_main)
    target_compile_options(${library} PRIVATE -w)
    # Their headers are not ours either: no warnings from them in our tests.
    get_target_property(includes ${library} INTERFACE_INCLUDE_DIRECTORIES)
    set_target_properties(${library} PROPERTIES
      INTERPROCEDURAL_OPTIMIZATION OFF
      INTERFACE_SYSTEM_INCLUDE_DIRECTORIES "${includes}")
  endforeach()
  target_link_libraries(plug_gtest INTERFACE gtest gtest_main Threads::Threads)
endif()

# plug_discover_tests(TARGET [gtest_discover_tests's options]): one test for each of the program. An emulated program takes
# longer to start than most tests to run, so there they run in a few processes.
function(plug_discover_tests target)
  plug_take_test_headers(${target})
  if(NOT CMAKE_CROSSCOMPILING)
    gtest_discover_tests(${target} DISCOVERY_TIMEOUT 120 DISCOVERY_MODE PRE_TEST ${ARGN})
    return()
  endif()
  set(shards 8)
  foreach(shard RANGE 1 ${shards})
    math(EXPR index "${shard} - 1")
    add_test(NAME ${target}_${shard}_of_${shards} COMMAND ${target})
    set_tests_properties(${target}_${shard}_of_${shards} PROPERTIES
      ENVIRONMENT "GTEST_TOTAL_SHARDS=${shards};GTEST_SHARD_INDEX=${index}" TIMEOUT 600)
  endforeach()
endfunction()
