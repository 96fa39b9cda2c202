# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# Writes OUTPUT out of SOURCES, the code that hidl-gen made: the methods of each interface with
# their transaction codes, and the members of each structure.

set(structures "")
set(methods "")
foreach(source ${SOURCES})
    set(interface "")
    set(structure "")
    file(STRINGS ${source} lines REGEX
        "::descriptor\\(\"|^        case [0-9]+ /|toString\\(const ::.*& o\\) {$|^    os \\+= \".*\\.[a-zA-Z0-9_]+ = \"|^    os \\+= \"}\"")
    foreach(line ${lines})
        if(line MATCHES "::descriptor\\(\"(.*)@([0-9]+)\\.([0-9]+)::([A-Za-z0-9_]+)\"")
            set(descriptor ${CMAKE_MATCH_1}@${CMAKE_MATCH_2}.${CMAKE_MATCH_3}::${CMAKE_MATCH_4})
            string(REPLACE "." "::" namespace ${CMAKE_MATCH_1})
            set(interface ::${namespace}::V${CMAKE_MATCH_2}_${CMAKE_MATCH_3}::${CMAKE_MATCH_4})
        elseif(line MATCHES "case ([0-9]+) /\\* ([A-Za-z0-9_]+) \\*/")
            string(APPEND methods "        method<&${interface}::${CMAKE_MATCH_2}>(\"${descriptor}\", "
                "${CMAKE_MATCH_1}, \"${CMAKE_MATCH_2}\"),\n")
        elseif(line MATCHES "toString\\(const (.*)& o\\)")
            set(structure ${CMAKE_MATCH_1})
            set(members "")
        elseif(line MATCHES "\\.([a-zA-Z0-9_]+) = \"")
            string(APPEND members "        visit(\"${CMAKE_MATCH_1}\", value.${CMAKE_MATCH_1});\n")
        elseif(structure)
            string(APPEND structures "template <>\nstruct Members<${structure}> {\n"
                "    template <typename Value, typename Visit>\n"
                "    static void visit(Value& value, Visit visit) {\n${members}    }\n};\n")
            set(structure "")
        endif()
    endforeach()
endforeach()
file(WRITE ${OUTPUT} "// Made of hidl-gen's code by CallTable.cmake.\n${structures}\n"
    "constexpr Method kMethods[] = {\n${methods}};\n")
