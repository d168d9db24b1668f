# The preload library that makes a process's time run faster (see FastClock.c), and its own test.
#
#   fastclock         libfastclock.so; its path is $<TARGET_FILE:fastclock>
#   fastclock_probe   the program that the test runs under it
#   fastclock_test    ctest "FastClock"; needs plug_gtest
#
# For programs of this machine only: it leans on glibc, and the emulated router's programs do not see it.
include(${CMAKE_CURRENT_LIST_DIR}/FastClockCode.cmake)

add_library(fastclock SHARED ${PLUG_FASTCLOCK_DIR}/FastClock.c ${PLUG_FASTCLOCK_DIR}/FastClockCalls.c)
target_link_libraries(fastclock PRIVATE ${CMAKE_DL_LIBS} Threads::Threads)
add_executable(fastclock_probe ${PLUG_FASTCLOCK_DIR}/FastClockProbe.cpp)
target_link_libraries(fastclock_probe PRIVATE Threads::Threads)

foreach(target fastclock fastclock_probe)
  plug_fast_clock_code(${target})
endforeach()
target_link_options(fastclock PRIVATE -Wl,-z,defs)

add_executable(fastclock_test ${PLUG_FASTCLOCK_DIR}/FastClockTest.cpp)
target_link_libraries(fastclock_test PRIVATE plug_gtest plug_warnings)
target_compile_definitions(fastclock_test PRIVATE
  FASTCLOCK_LIBRARY="$<TARGET_FILE:fastclock>" FASTCLOCK_PROBE="$<TARGET_FILE:fastclock_probe>")
add_dependencies(fastclock_test fastclock fastclock_probe)
add_test(NAME FastClock COMMAND fastclock_test)
