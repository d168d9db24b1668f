# Prints what the agent will take on a router: its stripped size and the libraries it needs.
execute_process(COMMAND ${STRIP} -o ${PLUG}.stripped ${PLUG} COMMAND_ERROR_IS_FATAL ANY)
file(SIZE ${PLUG}.stripped bytes)
execute_process(COMMAND ${READELF} -d ${PLUG} OUTPUT_VARIABLE dynamic COMMAND_ERROR_IS_FATAL ANY)
string(REGEX REPLACE "[^\n]*\\(NEEDED\\)[^\n]*library: .([^\n]*).\n" "NEEDED \\1\n" dynamic "${dynamic}")
string(REGEX MATCHALL "NEEDED [^\n]+" needed "${dynamic}")
list(TRANSFORM needed REPLACE "NEEDED " "")
list(JOIN needed " " needed)
message(STATUS "plug: ${bytes} bytes stripped; needs ${needed}")
