# Writes the C source of the router library's procedures that can go wrong: each counts, and fails with -1 or goes on to
# the real one. The names and parameters come out of the contract's header, so that none can be missing.
#   HEADER  the contract    OUTPUT  the source
file(STRINGS ${HEADER} lines REGEX "^(int|uint64_t) [a-z_0-9]+\\(")
set(text "#include \"tests/torture/Fault.h\"\n#include \"sdk/RouterSdk.h\"\n\n")
string(APPEND text "#pragma GCC visibility push(default)\n\n")
foreach(line IN LISTS lines)
  string(REGEX MATCH "^([a-z_0-9]+) ([a-z_0-9]+)\\((.*)\\);" found "${line}")
  if(NOT found)
    message(FATAL_ERROR "a declaration of more than one line: ${line}")
  endif()
  set(result ${CMAKE_MATCH_1})
  set(name ${CMAKE_MATCH_2})
  set(parameters "${CMAKE_MATCH_3}")
  # "const uint8_t mac[6], uint16_t *mbps" to "mac, mbps"
  string(REGEX REPLACE "\\([*]([a-z_A-Z0-9]+)\\)" " \\1" arguments "${parameters}")
  string(REGEX REPLACE "\\[[^]]*\\]" "" arguments "${arguments}")
  string(REGEX REPLACE "[^,]*[ *]([a-z_A-Z0-9]+)(,|$)" "\\1\\2 " arguments "${arguments}")
  if(parameters STREQUAL "void")
    set(arguments "")
  endif()
  string(APPEND text "${result} ${name}(${parameters})\n{\n"
    "    ${result} (*real)(${parameters}) = (${result}(*)(${parameters}))FaultReal(\"${name}\");\n"
    "    if (FaultDecide(FAULT_router, \"${name}\", __builtin_return_address(0)) == FAULT_FAIL) return (${result})-1;\n"
    "    return real(${arguments});\n}\n\n")
endforeach()
file(WRITE ${OUTPUT} "${text}")
