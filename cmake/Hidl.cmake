# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# hidl_package(TARGET PACKAGE@VERSION FILE...): makes C++ out of the .hal files of a package version
# with hidl-gen. The code is linked as objects: its static constructors register the interfaces, and
# a static library would drop them.

find_program(HIDL_GEN hidl-gen REQUIRED)
set(HIDL_OUTPUT_DIR ${PROJECT_BINARY_DIR}/generated)
set(HIDL_ROOTS -R
        -r vendor.qmx.hardware:${PROJECT_SOURCE_DIR}/interfaces
        -r android.hidl:${PROJECT_SOURCE_DIR}/host/hidl/interfaces/android/hidl)

# A release adds the hashes of interfaces, which become part of their code.
function(hidl_package target fqname)
    string(REGEX REPLACE "^(.*)@(.*)$" "\\1;\\2" parts ${fqname})
    list(GET parts 0 package)
    list(GET parts 1 version)
    string(REPLACE "." "/" path ${package})
    set(outputs)
    set(sources)
    foreach(hal ${ARGN})
        get_filename_component(name ${hal} NAME_WE)
        set(prefix ${HIDL_OUTPUT_DIR}/${path}/${version})
        if(name STREQUAL "types")
            list(APPEND sources ${prefix}/types.cpp)
            list(APPEND outputs ${prefix}/types.h ${prefix}/hwtypes.h)
        else()
            string(SUBSTRING ${name} 1 -1 base)
            list(APPEND sources ${prefix}/${base}All.cpp)
            list(APPEND outputs ${prefix}/${name}.h ${prefix}/IHw${base}.h ${prefix}/BnHw${base}.h
                    ${prefix}/BpHw${base}.h ${prefix}/Bs${base}.h)
        endif()
    endforeach()
    add_custom_command(OUTPUT ${sources} ${outputs}
            COMMAND ${HIDL_GEN} -p ${PROJECT_SOURCE_DIR} -o ${HIDL_OUTPUT_DIR} -L c++ ${HIDL_ROOTS}
                    ${fqname}
            DEPENDS ${ARGN} ${PROJECT_SOURCE_DIR}/interfaces/current.txt VERBATIM COMMENT "hidl-gen ${fqname}")
    target_sources(${target} PRIVATE ${sources})
endfunction()
