# Toolchain file for the router's processor: 32-bit MIPS, little-endian, with Debian's cross compiler.
#
# libcrypto and cJSON of that architecture come from a private folder (scripts/target-libraries.sh), fetched here
# when it is missing, so that configuring and building need no step before them. Tests run under user-mode emulation.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR mipsel)

set(PLUG_TARGET_TRIPLE mipsel-linux-gnu)
get_filename_component(PLUG_TOOLCHAIN_REPOSITORY "${CMAKE_CURRENT_LIST_DIR}/.." ABSOLUTE)
if(NOT PLUG_TARGET_LIBRARIES)
  if(DEFINED ENV{PLUG_TARGET_LIBRARIES})
    set(PLUG_TARGET_LIBRARIES "$ENV{PLUG_TARGET_LIBRARIES}")
  else()
    set(PLUG_TARGET_LIBRARIES "${PLUG_TOOLCHAIN_REPOSITORY}/build/target-libraries")
  endif()
endif()
set(PLUG_TARGET_LIBRARIES "${PLUG_TARGET_LIBRARIES}" CACHE PATH "folder of the router's libcrypto and cJSON")
# CMake reads this file again for its compiler checks, which know only the variables named here.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES PLUG_TARGET_LIBRARIES)

find_program(PLUG_TARGET_C_COMPILER ${PLUG_TARGET_TRIPLE}-gcc)
find_program(PLUG_TARGET_CXX_COMPILER ${PLUG_TARGET_TRIPLE}-g++)
find_program(PLUG_TARGET_EMULATOR qemu-mipsel-static)
mark_as_advanced(PLUG_TARGET_C_COMPILER PLUG_TARGET_CXX_COMPILER PLUG_TARGET_EMULATOR)
if(NOT PLUG_TARGET_C_COMPILER OR NOT PLUG_TARGET_CXX_COMPILER OR NOT PLUG_TARGET_EMULATOR)
  message(FATAL_ERROR "The cross compiler or the emulator is missing. Run scripts/install-packages.sh build mipsel")
endif()

# The script writes `versions` last, so a folder that has it is complete.
if(NOT EXISTS "${PLUG_TARGET_LIBRARIES}/versions")
  execute_process(
    COMMAND "${PLUG_TOOLCHAIN_REPOSITORY}/scripts/target-libraries.sh" "${PLUG_TARGET_LIBRARIES}"
    RESULT_VARIABLE PLUG_TARGET_LIBRARIES_RESULT)
  if(NOT PLUG_TARGET_LIBRARIES_RESULT EQUAL 0)
    message(FATAL_ERROR "scripts/target-libraries.sh could not fetch the router's libraries")
  endif()
endif()

set(CMAKE_C_COMPILER "${PLUG_TARGET_C_COMPILER}")
set(CMAKE_CXX_COMPILER "${PLUG_TARGET_CXX_COMPILER}")
set(CMAKE_LIBRARY_ARCHITECTURE ${PLUG_TARGET_TRIPLE})

# Libraries and headers come from the two target folders and from nowhere else: the machine's own libcrypto would be
# found first otherwise, and its headers differ without the compiler noticing.
set(CMAKE_FIND_ROOT_PATH "${PLUG_TARGET_LIBRARIES}" /usr/${PLUG_TARGET_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Debian keeps the headers that depend on the architecture apart, where the cross compiler does not look; and
# libcrypto needs further libraries (libatomic) that the linker must find to resolve it.
set(PLUG_TARGET_LIBRARY_FOLDER "${PLUG_TARGET_LIBRARIES}/usr/lib/${PLUG_TARGET_TRIPLE}")
foreach(language C CXX)
  set(CMAKE_${language}_FLAGS_INIT
    "-isystem \"${PLUG_TARGET_LIBRARIES}/usr/include/${PLUG_TARGET_TRIPLE}\" -isystem \"${PLUG_TARGET_LIBRARIES}/usr/include\"")
endforeach()
# The largest page that 32-bit routers use is 16 KiB; the linker's own 64 KiB would fill a third of the file with zeros.
# With the other page size the linker reckons whether zeros in the file save a page of memory: they never do.
set(PLUG_TARGET_PAGES -Wl,-z,max-page-size=0x4000,-z,common-page-size=16)
# Programs stand at a fixed address and call libraries through PLTs: position-independent code and its table of addresses
# make them a fifth larger on this processor. Read-only relocations would begin a page of their own, up to 16 KiB of
# zeros in the file, for the one page of addresses that is left. Libraries, heap and stacks still move.
set(PLUG_PIE_DEFAULT OFF)
set(PLUG_FIXED_ADDRESS_CODE -mno-shared -mplt)
set(PLUG_RELRO norelro)
# 3,104 bytes at any address, 32 at a fixed one.
set(PLUG_NO_LAZY_STUBS "-Wl,-T,${CMAKE_CURRENT_LIST_DIR}/no-lazy-stubs.ld")
# A quarter smaller again, on processors that have the 16-bit encoding; what is saved pays for any address.
option(PLUG_MIPS16 "the agent in the processor's 16-bit encoding (MIPS16e)" OFF)
if(PLUG_MIPS16)
  set(PLUG_AGENT_CODE -mips16 -minterlink-mips16) # jumps from one encoding to the other change it
  # GCC 12 computes wrong doubles in it, so code that computes with them stays in the other encoding.
  set(PLUG_AGENT_DOUBLES_CODE -mno-mips16 -fno-lto)
  set(PLUG_PIE_DEFAULT ON)
endif()
foreach(kind EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT
    "-L\"${PLUG_TARGET_LIBRARY_FOLDER}\" -Wl,-rpath-link,\"${PLUG_TARGET_LIBRARY_FOLDER}\" -Wl,-rpath-link,/usr/${PLUG_TARGET_TRIPLE}/lib ${PLUG_TARGET_PAGES}")
endforeach()

# The emulator's C library stands first in the search path: found after another one, programs crash at start.
set(CMAKE_CROSSCOMPILING_EMULATOR "${PLUG_TARGET_EMULATOR}" -L /usr/${PLUG_TARGET_TRIPLE}
  -E "LD_LIBRARY_PATH=/usr/${PLUG_TARGET_TRIPLE}/lib:${PLUG_TARGET_LIBRARY_FOLDER}")
