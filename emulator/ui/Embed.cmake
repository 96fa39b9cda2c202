# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# Puts the page's files into the program, compressed. A changed file is in it after the next build.

file(MAKE_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/page)

# embed(NAME FILE): under the name that the file has on the page.
macro(embed name file)
    set(compressed ${CMAKE_CURRENT_BINARY_DIR}/page/${name}.gz)
    # Without name and time, so that it is the same each time.
    add_custom_command(OUTPUT ${compressed} COMMAND gzip -9nc ${file} > ${compressed}
        DEPENDS ${file} VERBATIM)
    list(LENGTH compressed_files number)
    list(APPEND compressed_files ${compressed})
    string(APPEND embedded_bytes "page_${number}: .incbin \\\"${compressed}\\\"\\n"
        "page_end_${number}:\\n")
    string(APPEND embedded_symbols "extern const char page_${number}[], page_end_${number}[];\n")
    string(APPEND embedded_files
        "            {\"${name}\", {page_${number}, page_end_${number}}},\n")
endmacro()

file(GLOB page_files CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/page/*)
foreach(file ${page_files})
    cmake_path(GET file FILENAME name)
    embed(${name} ${file})
endforeach()

# Debian's libjs-chart.js; package/copyright tells its licence.
find_file(CHART_JS chart.min.js PATHS /usr/share/javascript/chart.js NO_DEFAULT_PATH
    NO_CMAKE_FIND_ROOT_PATH REQUIRED)
embed(chart.js ${CHART_JS})

configure_file(Embedded.cpp.in ${CMAKE_CURRENT_BINARY_DIR}/Embedded.cpp @ONLY)
set_source_files_properties(${CMAKE_CURRENT_BINARY_DIR}/Embedded.cpp PROPERTIES
    OBJECT_DEPENDS "${compressed_files}")
target_sources(emulator-ui PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/Embedded.cpp)
