# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# Flags, options and kinds of targets that several rooms share.

option(BIVISTA_COMPILER_CACHE "Compile through ccache" OFF)
set(BIVISTA_SANITIZER "" CACHE STRING "Value for -fsanitize=, empty for none")
option(BIVISTA_FUZZ "Build the fuzz targets for libFuzzer" OFF)
option(BIVISTA_PHONE "Compile the device folders for the phone's processor, and nothing else" OFF)
option(BIVISTA_CFI "With BIVISTA_PHONE: check control flow" OFF)

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
# The Debian package of what is installed without another word.
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME programs)

if(BIVISTA_COMPILER_CACHE)
    find_program(CCACHE ccache REQUIRED)
    # What the cache must overlook to serve a source that uses precompiled headers.
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env
        CCACHE_SLOPPINESS=pch_defines,time_macros ${CCACHE})
endif()

# A dump tells by it which build of a program it is of. A phone's build adds one by itself.
add_link_options(-Wl,--build-id=sha1)

# These concern every object of a program, whoever wrote it.
if(BIVISTA_SANITIZER)
    # The device folders are built without RTTI, which the vptr check would need.
    # Line numbers are all that a report needs, and make for smaller programs.
    set(sanitize -fsanitize=${BIVISTA_SANITIZER} -fno-sanitize-recover=all -fno-sanitize=vptr -g1)
    add_compile_options(${sanitize})
    add_link_options(${sanitize})
endif()
if(BIVISTA_FUZZ)
    # The fuzzer is guided by what it reaches in the libraries, not only in its own sources.
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# Debian's Android libraries live outside the linker's and the loader's default folders.
set(ANDROID_LIBRARY_DIR /usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/android)
foreach(name utils log)
    add_library(android-${name} INTERFACE)
    target_include_directories(android-${name} SYSTEM INTERFACE
        ${CMAKE_SYSROOT}/usr/include/android)
    if(NOT BIVISTA_PHONE)
        target_link_libraries(android-${name} INTERFACE
            ${CMAKE_SYSROOT}${ANDROID_LIBRARY_DIR}/lib${name}.so)
        target_link_options(android-${name} INTERFACE -Wl,-rpath,${ANDROID_LIBRARY_DIR})
    endif()
endforeach()

# Flags of code that we wrote; the presets make warnings errors. Clang checks the lock annotations.
# Headers are named from the project's root.
add_library(bivista-flags INTERFACE)
target_compile_options(bivista-flags INTERFACE -Wall -Wextra
    $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>)
target_include_directories(bivista-flags INTERFACE ${PROJECT_SOURCE_DIR})
# A descriptor that is not open must not pass for true.
target_compile_definitions(bivista-flags INTERFACE
    ANDROID_BASE_UNIQUE_FD_DISABLE_IMPLICIT_CONVERSION)

# Flags of the folders that are also built in an Android tree. There clang checks the locks' order, too.
add_library(bivista-device-flags INTERFACE)
target_compile_options(bivista-device-flags INTERFACE -fno-exceptions -fno-rtti
    $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety-beta>)
target_link_libraries(bivista-device-flags INTERFACE bivista-flags)

# The service object, made of its rooms. They are linked as objects, so that tests can put their own
# functions in the place of a library's.
add_library(bivista-device INTERFACE)
target_include_directories(bivista-device INTERFACE ${PROJECT_SOURCE_DIR})
target_link_libraries(bivista-device INTERFACE bivista-interfaces host-cutils host-hidl host-log
    host-usbhost android-utils)

# bivista_device_room(NAME SOURCE...): one room of the service object.
function(bivista_device_room name)
    set(room bivista-device-${name})
    add_library(${room} OBJECT ${ARGN})
    set_target_properties(${room} PROPERTIES CXX_STANDARD 17)
    target_link_libraries(${room} PRIVATE bivista-device-flags bivista-interfaces host-cutils
        host-hidl host-log host-usbhost android-utils)
    target_link_libraries(bivista-device INTERFACE $<TARGET_OBJECTS:${room}>)
endfunction()

# For tools and tests, which wait for other programs: they are not optimised, which compiles twice
# as fast.
function(bivista_compile_quickly name)
    target_compile_options(${name} PRIVATE -O0 -U_FORTIFY_SOURCE)
endfunction()

# bivista_precompile(NAME HEADER...): compiles headers once for all sources of a target. Not for
# folders that a phone's build takes: there a source must include all that it needs.
function(bivista_precompile name)
    target_precompile_headers(${name} PRIVATE ${ARGN})
    bivista_same_precompiled(${name})
endfunction()

# Without times in the precompiled file, the compiler cache finds it again.
function(bivista_same_precompiled name)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
        target_compile_options(${name} PRIVATE "SHELL:-Xclang -fno-pch-timestamp")
    endif()
endfunction()
