# The preload library that makes a process's time run faster (see FastClock.c), and its own test.
#
#   fastclock         libfastclock.so; its path is $<TARGET_FILE:fastclock>
#   fastclock_probe   the program that the test runs under it
#   fastclock_test    ctest "FastClock"; needs plug_gtest
#
# For programs of this machine only: it leans on glibc, and the emulated router's programs do not see it.
enable_language(C)
set(PLUG_FASTCLOCK_DIR ${CMAKE_CURRENT_LIST_DIR})

add_library(fastclock SHARED ${PLUG_FASTCLOCK_DIR}/FastClock.c ${PLUG_FASTCLOCK_DIR}/FastClockCalls.c)
target_link_libraries(fastclock PRIVATE ${CMAKE_DL_LIBS} Threads::Threads)
add_executable(fastclock_probe ${PLUG_FASTCLOCK_DIR}/FastClockProbe.cpp)
target_link_libraries(fastclock_probe PRIVATE Threads::Threads)

foreach(target fastclock fastclock_probe)
  # Never sanitized: a sanitizer's runtime must come first in a process, and this library comes before it.
  set_target_properties(${target} PROPERTIES
    C_STANDARD 11 C_EXTENSIONS ON C_VISIBILITY_PRESET hidden
    CXX_STANDARD 17
    INTERPROCEDURAL_OPTIMIZATION OFF
    COMPILE_OPTIONS "-O2;-Wall;-Wextra;-Wshadow;-Wvla;$<$<BOOL:${PLUG_WERROR}>:-Werror>"
    LINK_OPTIONS "")
endforeach()
target_link_options(fastclock PRIVATE -Wl,-z,defs)

add_executable(fastclock_test ${PLUG_FASTCLOCK_DIR}/FastClockTest.cpp)
target_link_libraries(fastclock_test PRIVATE plug_gtest plug_warnings)
target_compile_definitions(fastclock_test PRIVATE
  FASTCLOCK_LIBRARY="$<TARGET_FILE:fastclock>" FASTCLOCK_PROBE="$<TARGET_FILE:fastclock_probe>")
add_dependencies(fastclock_test fastclock fastclock_probe)
add_test(NAME FastClock COMMAND fastclock_test)
