# Toolchain file for this machine's processor with musl as its C library: the compiler is Debian's with musl-gcc's
# specification. What it is checked against stands for the routers that have musl.
#
# libcrypto, cJSON and, for the tests, libstdc++ come from a private folder (scripts/musl-libraries.sh), built here when
# it is missing or out of date, so that configuring and building need no step before them.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ${CMAKE_HOST_SYSTEM_PROCESSOR})

get_filename_component(PLUG_TOOLCHAIN_REPOSITORY "${CMAKE_CURRENT_LIST_DIR}/.." ABSOLUTE)
if(NOT PLUG_MUSL_LIBRARIES)
  if(DEFINED ENV{PLUG_MUSL_LIBRARIES})
    set(PLUG_MUSL_LIBRARIES "$ENV{PLUG_MUSL_LIBRARIES}")
  else()
    set(PLUG_MUSL_LIBRARIES "${PLUG_TOOLCHAIN_REPOSITORY}/build/musl-libraries")
  endif()
endif()
set(PLUG_MUSL_LIBRARIES "${PLUG_MUSL_LIBRARIES}" CACHE PATH "folder of libcrypto, cJSON and libstdc++ for musl")
# CMake reads this file again for its compiler checks, which know only the variables named here.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES PLUG_MUSL_LIBRARIES PLUG_MUSL_CHECKED)

find_program(PLUG_MUSL_GCC musl-gcc)
find_program(PLUG_MUSL_CXX g++)
file(GLOB PLUG_MUSL_SPECS /usr/lib/*-linux-musl/musl-gcc.specs)
mark_as_advanced(PLUG_MUSL_GCC PLUG_MUSL_CXX)
if(NOT PLUG_MUSL_GCC OR NOT PLUG_MUSL_CXX OR NOT PLUG_MUSL_SPECS)
  message(FATAL_ERROR "musl-gcc or g++ is missing. Run scripts/install-packages.sh build musl")
endif()
if(NOT PLUG_MUSL_CHECKED)
  execute_process(
    COMMAND "${PLUG_TOOLCHAIN_REPOSITORY}/scripts/musl-libraries.sh" "${PLUG_MUSL_LIBRARIES}"
    RESULT_VARIABLE PLUG_MUSL_LIBRARIES_RESULT)
  if(NOT PLUG_MUSL_LIBRARIES_RESULT EQUAL 0)
    message(FATAL_ERROR "scripts/musl-libraries.sh could not build the libraries")
  endif()
  set(PLUG_MUSL_CHECKED ON)
endif()

set(CMAKE_C_COMPILER "${PLUG_MUSL_GCC}")
set(CMAKE_CXX_COMPILER "${PLUG_MUSL_CXX}")
foreach(tool ar ranlib nm) # those that know the compiler's LTO code; not found beside a compiler of this name
  string(TOUPPER ${tool} upper)
  find_program(PLUG_MUSL_${upper} gcc-${tool})
  mark_as_advanced(PLUG_MUSL_${upper})
  foreach(language C CXX)
    set(CMAKE_${language}_COMPILER_${upper} "${PLUG_MUSL_${upper}}")
  endforeach()
endforeach()
set(CMAKE_C_FLAGS_INIT "-isystem \"${PLUG_MUSL_LIBRARIES}/include\" -isystem \"${PLUG_MUSL_LIBRARIES}/include/kernel\"")
set(CMAKE_CXX_FLAGS_INIT
  "-specs=${PLUG_MUSL_SPECS} -nostdinc++ -isystem \"${PLUG_MUSL_LIBRARIES}/include/c++\" ${CMAKE_C_FLAGS_INIT}")
# Before the compiler's own folder, where the libstdc++ of the other C library is.
foreach(kind EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "-L\"${PLUG_MUSL_LIBRARIES}/lib\"")
endforeach()

set(CMAKE_CXX_STANDARD_LIBRARIES_INIT "\"${PLUG_MUSL_LIBRARIES}/lib/find-object.o\"") # what the tests' exceptions need
set(CMAKE_BUILD_RPATH "${PLUG_MUSL_LIBRARIES}/lib") # for what runs where it was built
set(PLUG_MUSL ON)

# Libraries and headers come from that folder and from nowhere else: the machine's own are of the other C library.
set(CMAKE_FIND_ROOT_PATH "${PLUG_MUSL_LIBRARIES}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
