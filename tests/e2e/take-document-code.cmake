# Writes the one block of C of a document, which stands between "```c" and "```".
#   DOCUMENT  a Markdown file    OUTPUT  the source
file(READ ${DOCUMENT} text)
string(REGEX MATCHALL "\n```c\n" blocks "${text}")
list(LENGTH blocks count)
if(NOT count EQUAL 1)
  message(FATAL_ERROR "${DOCUMENT} has ${count} blocks of C instead of one")
endif()
string(FIND "${text}" "\n```c\n" begin)
math(EXPR begin "${begin} + 6")
string(SUBSTRING "${text}" ${begin} -1 text)
string(FIND "${text}" "\n```\n" end)
string(SUBSTRING "${text}" 0 ${end} text)
file(WRITE ${OUTPUT} "${text}\n")
