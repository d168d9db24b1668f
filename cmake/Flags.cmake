# Compiler flags: one target for everybody (warnings, sanitizers), one for code that runs on the router.

add_library(plug_warnings INTERFACE)
target_compile_options(plug_warnings INTERFACE -Wall -Wextra -Wshadow -Wvla
  $<$<BOOL:${PLUG_WERROR}>:-Werror>)
# For the folders of programs: also conversions that may change a value. Tests make their values as they need them.
set(PLUG_PROGRAM_WARNINGS -Wconversion -Wno-sign-conversion)
if(PLUG_SANITIZE MATCHES undefined)
  # Its checks stand between an expression and its operands, whose range the compiler does not see any more.
  set(PLUG_PROGRAM_WARNINGS "")
endif()
if(PLUG_SANITIZE)
  add_compile_options(-fsanitize=${PLUG_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${PLUG_SANITIZE})
  if(CMAKE_CXX_COMPILER_ID MATCHES Clang AND PLUG_SANITIZE MATCHES undefined)
    # These two compare type information, which only the C++ runtime has that the agent does without.
    add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-fno-sanitize=function,vptr>)
  endif()
endif()

# Whether programs can stand at any address; docs/benchmarks.md says what it costs. At a fixed one, programs and the
# libraries that become part of them are made as the toolchain file wants it.
if(NOT DEFINED PLUG_PIE_DEFAULT)
  set(PLUG_PIE_DEFAULT ON)
endif()
option(PLUG_PIE "programs run at any address (mipsel: 21 KB, in the 16-bit encoding 23 KB)" ${PLUG_PIE_DEFAULT})
if(PLUG_PIE)
  set(program_link -pie)
else()
  unset(CMAKE_POSITION_INDEPENDENT_CODE)
  set(program_code -fno-pic -fno-pie ${PLUG_FIXED_ADDRESS_CODE})
  set(program_link -no-pie ${program_code})
  add_compile_options("$<$<NOT:$<BOOL:$<TARGET_PROPERTY:POSITION_INDEPENDENT_CODE>>>:${program_code}>")
endif()
add_link_options("$<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:${program_link}>")
if(NOT PLUG_RELRO)
  set(PLUG_RELRO relro)
endif()

# How the code on the router is protected, each with what it costs the agent on x86-64; docs/benchmarks.md has the rest.
set(PLUG_STACK_PROTECTOR arrays CACHE STRING "guarded stack frames of a release: none, arrays (0.9 KB), strong (6 KB)")
set_property(CACHE PLUG_STACK_PROTECTOR PROPERTY STRINGS none arrays strong)
set(stack_protector_none -fno-stack-protector)
set(stack_protector_arrays -fstack-protector)
set(stack_protector_strong -fstack-protector-strong)
if(NOT DEFINED stack_protector_${PLUG_STACK_PROTECTOR})
  message(FATAL_ERROR "PLUG_STACK_PROTECTOR is none, arrays or strong")
endif()
option(PLUG_FORTIFY "calls of the C library in a release check the size of their buffers (0.6 KB)" ON)

# -Oz is smaller than -Os, where the compiler has it. The next ones switch off what saves time and costs bytes; the last
# four of them save 1,120 bytes on mipsel. Calls of libraries go through their address instead of a stub; all addresses
# are bound at the start anyway.
include(CheckCXXCompilerFlag)
set(PLUG_SMALL_CODE "")
foreach(flag -Oz -fno-caller-saves -fno-move-loop-invariants -fno-tree-sra -fno-expensive-optimizations
             -fno-guess-branch-probability -fno-optimize-sibling-calls -frename-registers)
  string(MAKE_C_IDENTIFIER "plug_has${flag}" known)
  check_cxx_compiler_flag(${flag} ${known})
  if(${known})
    list(APPEND PLUG_SMALL_CODE ${flag})
  endif()
endforeach()
if(CMAKE_SYSTEM_PROCESSOR STREQUAL x86_64)
  list(APPEND PLUG_SMALL_CODE -fno-plt)
endif()

# No exceptions, no RTTI, no guarded statics: nothing of it may need libstdc++.so on the router.
add_library(plug_router_code INTERFACE)
target_compile_options(plug_router_code INTERFACE
  $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti -fno-threadsafe-statics>
  -ffunction-sections -fdata-sections -fvisibility=hidden
  # Machine code beside the LTO code: tests link it without LTO, some to put other procedures in some places.
  $<$<BOOL:${CMAKE_INTERPROCEDURAL_OPTIMIZATION}>:-ffat-lto-objects>
  # Nothing unwinds the stack of what is shipped: no exceptions, no thread is cancelled.
  "$<$<CONFIG:MinSizeRel>:-fno-asynchronous-unwind-tables;${PLUG_SMALL_CODE}>"
  $<$<CONFIG:MinSizeRel>:${stack_protector_${PLUG_STACK_PROTECTOR}}>
  "$<$<AND:$<CONFIG:MinSizeRel>,$<BOOL:${PLUG_FORTIFY}>>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
target_include_directories(plug_router_code INTERFACE ${CMAKE_SOURCE_DIR}/agent ${CMAKE_SOURCE_DIR})
target_link_libraries(plug_router_code INTERFACE plug_warnings)

# Addresses that the loader only shifts take a bit each instead of 24 bytes. The C library has to know this table.
include(CheckCSourceCompiles)
set(PLUG_PACKED_RELOCATIONS -Wl,-z,pack-relative-relocs)
set(CMAKE_REQUIRED_LINK_OPTIONS ${PLUG_PACKED_RELOCATIONS})
check_c_source_compiles("
#include <stdlib.h>
#if !defined(__GLIBC__) || __GLIBC__ * 100 + __GLIBC_MINOR__ < 236
#error
#endif
int main(void) { return 0; }" PLUG_HAS_PACKED_RELOCATIONS FAIL_REGEX ignored)
unset(CMAKE_REQUIRED_LINK_OPTIONS)
if(NOT PLUG_HAS_PACKED_RELOCATIONS)
  set(PLUG_PACKED_RELOCATIONS "")
endif()

# Links a target with the C driver, so that libstdc++ is not even offered to it. Code and constants share a segment:
# each one more is rounded up to pages in the file. One partition: the compiler sees the whole program at once.
function(plug_link_without_cxx_runtime target)
  set_target_properties(${target} PROPERTIES LINKER_LANGUAGE C)
  target_link_options(${target} PRIVATE -static-libgcc -Wl,--gc-sections -Wl,--as-needed
    -Wl,-z,${PLUG_RELRO},-z,now,-z,noseparate-code,-z,noexecstack ${PLUG_PACKED_RELOCATIONS} ${PLUG_NO_LAZY_STUBS}
    $<$<CONFIG:MinSizeRel>:-flto-partition=one>)
endfunction()
# CMake would add the C++ runtime behind the C driver's back.
set(CMAKE_CXX_IMPLICIT_LINK_LIBRARIES "")
