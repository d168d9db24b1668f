# Counts which lines and branches of the agent the tests run (scripts/coverage.sh). `plug_coverage` is for code to count;
# without PLUG_COVERAGE it is empty.
add_library(plug_coverage INTERFACE)
if(PLUG_COVERAGE)
  # Atomic: all threads count.
  target_compile_options(plug_coverage INTERFACE --coverage -fprofile-update=atomic -fprofile-abs-path)
  add_library(plug_coverage_exit STATIC ${CMAKE_SOURCE_DIR}/tests/coverage/Exit.c)
  target_link_libraries(plug_coverage INTERFACE plug_coverage_exit)
  target_link_options(plug_coverage INTERFACE --coverage LINKER:--wrap=_exit)
endif()
