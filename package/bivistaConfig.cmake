# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# find_package(bivista) gives the target bivista::client: the interfaces, the HIDL runtime, libutils and liblog.
if(TARGET bivista::client)
    return()
endif()

# Debian keeps Android's libraries and headers in folders of their own.
find_path(BIVISTA_ANDROID_INCLUDE_DIR utils/RefBase.h PATH_SUFFIXES android)
find_library(BIVISTA_ANDROID_UTILS utils PATH_SUFFIXES android)
find_library(BIVISTA_ANDROID_LOG log PATH_SUFFIXES android)
mark_as_advanced(BIVISTA_ANDROID_INCLUDE_DIR BIVISTA_ANDROID_UTILS BIVISTA_ANDROID_LOG)
foreach(found BIVISTA_ANDROID_INCLUDE_DIR BIVISTA_ANDROID_UTILS BIVISTA_ANDROID_LOG)
    if(NOT ${found})
        set(bivista_FOUND FALSE)
        set(bivista_NOT_FOUND_MESSAGE "${found}: install android-libutils-dev and android-liblog-dev")
        return()
    endif()
endforeach()

include(${CMAKE_CURRENT_LIST_DIR}/bivistaTargets.cmake)
# The loader does not look into Android's folder by itself.
cmake_path(GET BIVISTA_ANDROID_UTILS PARENT_PATH bivista_android_folder)
set_property(TARGET bivista::client APPEND PROPERTY
    INTERFACE_SYSTEM_INCLUDE_DIRECTORIES ${BIVISTA_ANDROID_INCLUDE_DIR})
set_property(TARGET bivista::client APPEND PROPERTY
    INTERFACE_INCLUDE_DIRECTORIES ${BIVISTA_ANDROID_INCLUDE_DIR})
set_property(TARGET bivista::client APPEND PROPERTY
    INTERFACE_LINK_LIBRARIES ${BIVISTA_ANDROID_UTILS} ${BIVISTA_ANDROID_LOG})
set_property(TARGET bivista::client APPEND PROPERTY
    INTERFACE_LINK_OPTIONS -Wl,-rpath,${bivista_android_folder})
unset(bivista_android_folder)
