# Makes what is shipped, PLUG.stripped, and prints what it will take on a router: its size and the libraries it needs.
# Fails when it needs one that it must not.
execute_process(COMMAND ${STRIP} -o ${PLUG}.stripped ${PLUG} COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND sh ${CMAKE_CURRENT_LIST_DIR}/without-sections.sh ${PLUG}.stripped ${READELF}
  COMMAND_ERROR_IS_FATAL ANY)
file(SIZE ${PLUG}.stripped bytes)
execute_process(COMMAND ${READELF} -d ${PLUG} OUTPUT_VARIABLE dynamic COMMAND_ERROR_IS_FATAL ANY)
string(REGEX REPLACE "[^\n]*\\(NEEDED\\)[^\n]*library: .([^\n]*).\n" "NEEDED \\1\n" dynamic "${dynamic}")
string(REGEX MATCHALL "NEEDED [^\n]+" needed "${dynamic}")
list(TRANSFORM needed REPLACE "NEEDED " "")
list(JOIN needed " " needed)
cmake_path(GET PLUG FILENAME name)
message(STATUS "${name}: ${bytes} bytes stripped; needs ${needed}")
if(needed MATCHES "libstdc|libgcc_s" OR (STATIC_CRYPTO AND needed MATCHES libcrypto))
  message(FATAL_ERROR "${name} must do without one of these")
endif()
