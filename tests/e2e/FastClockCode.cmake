# How the sources of FastClock.c are compiled, and how they become a part of a program that cannot be preloaded with them.
enable_language(C)
set(PLUG_FASTCLOCK_DIR ${CMAKE_CURRENT_LIST_DIR})

function(plug_fast_clock_code target)
  # Never sanitized: a sanitizer's runtime must come first in a process, and this library comes before it.
  set_target_properties(${target} PROPERTIES
    C_STANDARD 11 C_EXTENSIONS ON C_VISIBILITY_PRESET hidden
    CXX_STANDARD 17
    INTERPROCEDURAL_OPTIMIZATION OFF
    COMPILE_OPTIONS "-O2;-Wall;-Wextra;-Wshadow;-Wvla;$<$<BOOL:${PLUG_WERROR}>:-Werror>"
    LINK_OPTIONS "")
endfunction()

# plug_fast_clock_inside(TARGET...): these programs and libraries run on the fast clock by themselves when
# FASTCLOCK_FACTOR says so. For test builds only: nothing that is shipped may have it.
function(plug_fast_clock_inside)
  file(READ ${PLUG_FASTCLOCK_DIR}/FastClock.h header)
  string(REGEX MATCHALL "\n    X[(][a-z0-9_]+" calls "${header}") # the rows of REAL_CALLS
  list(TRANSFORM calls REPLACE "\n    X[(]" "")
  list(TRANSFORM calls REPLACE "(.+)" "\\1=__wrap_\\1" OUTPUT_VARIABLE names)
  list(TRANSFORM calls REPLACE "(.+)" "-Wl,--wrap=\\1" OUTPUT_VARIABLE wraps)
  add_library(fastclock_inside OBJECT ${PLUG_FASTCLOCK_DIR}/FastClock.c ${PLUG_FASTCLOCK_DIR}/FastClockCalls.c)
  plug_fast_clock_code(fastclock_inside)
  set_target_properties(fastclock_inside PROPERTIES POSITION_INDEPENDENT_CODE ON)
  target_compile_definitions(fastclock_inside PRIVATE FASTCLOCK_INSIDE ${names})
  # What this C library has not: for the calls that are led there, and not led themselves.
  add_library(fastclock_missing OBJECT ${PLUG_FASTCLOCK_DIR}/FastClockMissing.c)
  plug_fast_clock_code(fastclock_missing)
  set_target_properties(fastclock_missing PROPERTIES POSITION_INDEPENDENT_CODE ON)
  foreach(target ${ARGN})
    target_sources(${target} PRIVATE $<TARGET_OBJECTS:fastclock_inside> $<TARGET_OBJECTS:fastclock_missing>)
    target_link_options(${target} PRIVATE ${wraps})
  endforeach()
endfunction()
