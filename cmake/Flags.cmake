# Compiler flags: one target for everybody (warnings, sanitizers), one for code that runs on the router.

add_library(plug_warnings INTERFACE)
target_compile_options(plug_warnings INTERFACE -Wall -Wextra -Wshadow -Wvla
  $<$<BOOL:${PLUG_WERROR}>:-Werror>)
if(PLUG_SANITIZE)
  add_compile_options(-fsanitize=${PLUG_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${PLUG_SANITIZE})
  if(CMAKE_CXX_COMPILER_ID MATCHES Clang AND PLUG_SANITIZE MATCHES undefined)
    # These two compare type information, which only the C++ runtime has that the agent does without.
    add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-fno-sanitize=function,vptr>)
  endif()
endif()

# What a toolchain file wants programs, and the libraries that become part of them, to be made of.
if(PLUG_PROGRAM_CODE)
  unset(CMAKE_POSITION_INDEPENDENT_CODE)
  add_compile_options("$<$<NOT:$<BOOL:$<TARGET_PROPERTY:POSITION_INDEPENDENT_CODE>>>:${PLUG_PROGRAM_CODE}>")
  add_link_options("$<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:${PLUG_PROGRAM_LINK}>")
endif()
if(NOT PLUG_RELRO)
  set(PLUG_RELRO relro)
endif()

# No exceptions, no RTTI, no guarded statics: nothing of it may need libstdc++.so on the router.
add_library(plug_router_code INTERFACE)
target_compile_options(plug_router_code INTERFACE
  $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti -fno-threadsafe-statics>
  -ffunction-sections -fdata-sections -fvisibility=hidden
  # Machine code beside the LTO code: tests link it without LTO, some to put other procedures in some places.
  $<$<BOOL:${CMAKE_INTERPROCEDURAL_OPTIMIZATION}>:-ffat-lto-objects>
  # Nothing unwinds the stack of what is shipped: no exceptions, no thread is cancelled.
  $<$<CONFIG:MinSizeRel>:-fno-asynchronous-unwind-tables>)
target_include_directories(plug_router_code INTERFACE ${CMAKE_SOURCE_DIR}/agent ${CMAKE_SOURCE_DIR})
target_link_libraries(plug_router_code INTERFACE plug_warnings)

# Links a target with the C driver, so that libstdc++ is not even offered to it. Code and constants share a segment: each
# one more is rounded up to pages in the file.
function(plug_link_without_cxx_runtime target)
  set_target_properties(${target} PROPERTIES LINKER_LANGUAGE C)
  target_link_options(${target} PRIVATE -static-libgcc -Wl,--gc-sections -Wl,--as-needed -Wl,-z,${PLUG_RELRO},-z,now,-z,noseparate-code)
endfunction()
# CMake would add the C++ runtime behind the C driver's back.
set(CMAKE_CXX_IMPLICIT_LINK_LIBRARIES "")
