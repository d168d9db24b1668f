# Writes Contract.cpp: the names of the contract's functions, which come out of its header so that none can be missing.
#   HEADER  the contract    OUTPUT  the source
file(STRINGS ${HEADER} lines REGEX "^(int|uint64_t) [a-z_0-9]+\\(")
set(text "#include \"sdk/check/Contract.h\"\n\nconst std::vector<std::string> &check::ContractNames()\n{\n")
string(APPEND text "    static const std::vector<std::string> names = {\n")
foreach(line IN LISTS lines)
  string(REGEX REPLACE "^[a-z_0-9]+ ([a-z_0-9]+)\\(.*" "\\1" name "${line}")
  string(APPEND text "        \"${name}\",\n")
endforeach()
file(WRITE ${OUTPUT} "${text}    };\n    return names;\n}\n")
