# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# What a client links: the code of all interfaces and the HIDL runtime in one shared library, libbivista. Below
# another project and from the installed package it is the target bivista::client. Our own programs hold the same
# objects inside: a program of a build folder can be copied to another machine by itself, and tests put their own
# functions in the place of a library's.

add_library(bivista-client SHARED $<TARGET_OBJECTS:bivista-interfaces-objects>)
add_library(bivista::client ALIAS bivista-client)
# The soname's number changes with an incompatible change alone: docs/clients.md#versions says what that is.
set_target_properties(bivista-client PROPERTIES OUTPUT_NAME bivista EXPORT_NAME client
    VERSION ${PROJECT_VERSION} SOVERSION 1 LINKER_LANGUAGE CXX
    LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib
    BUILD_WITH_INSTALL_RPATH ON)
# Whole: clients call what the library itself does not, and the constructors of generated code register the interfaces.
set_target_properties(bivista-client PROPERTIES LINK_LIBRARY_OVERRIDE WHOLE_ARCHIVE,host-hidl)
target_link_libraries(bivista-client PRIVATE host-hidl host-log
    INTERFACE $<BUILD_INTERFACE:android-utils> $<BUILD_INTERFACE:android-log>)
target_include_directories(bivista-client SYSTEM INTERFACE
    $<BUILD_INTERFACE:${HIDL_OUTPUT_DIR}>
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/host/hidl/include>
    $<INSTALL_INTERFACE:include/bivista>)
target_compile_features(bivista-client INTERFACE cxx_std_17)


# What it exports has no name of Cap'n Proto in it.
set(exports ${PROJECT_SOURCE_DIR}/cmake/libbivista.map)
target_link_options(bivista-client PRIVATE -Wl,--version-script=${exports})
set_target_properties(bivista-client PROPERTIES LINK_DEPENDS ${exports})
