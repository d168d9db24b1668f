# Writes the files of the page into OUT as constants: cmake -DFOLDER=... -DOUT=... -P EmbedPage.cmake
set(rows "")
foreach(row "/|index.html|text/html" "/gateway.js|gateway.js|text/javascript" "/gateway.css|gateway.css|text/css")
  string(REPLACE "|" ";" row "${row}")
  list(GET row 0 path)
  list(GET row 1 file)
  list(GET row 2 type)
  file(READ "${FOLDER}/${file}" text)
  string(APPEND rows "    {\"${path}\", \"${type}; charset=utf-8\", R\"~~(${text})~~\"},\n")
endforeach()
file(WRITE "${OUT}" "// Made by the build from gateway/web/page.
#include \"gateway/web/PageFiles.h\"

namespace gateway
{

const PageFile kPageFiles[] = {
${rows}};
const size_t kPageFileCount = sizeof kPageFiles / sizeof kPageFiles[0];

} // namespace gateway
")
