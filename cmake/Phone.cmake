# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# The device folders, the code of the interfaces and the examples, as a phone's build compiles them: for its
# processor and with its flags. Headers of the platform's libraries are those of the host; the
# libraries themselves are not there, so nothing of this runs.

add_compile_options(-fno-exceptions -fno-rtti -fstack-protector-strong)
if(BIVISTA_CFI)
    add_compile_options(-flto -fvisibility=hidden -fsanitize=cfi)
endif()

# Written by hidl-gen, and ahead of all that includes it.
add_library(host-hidl-base OBJECT)
set_target_properties(host-hidl-base PROPERTIES CXX_STANDARD 17)
target_compile_options(host-hidl-base PRIVATE -w)
file(GLOB hals CONFIGURE_DEPENDS
    ${PROJECT_SOURCE_DIR}/host/hidl/interfaces/android/hidl/base/1.0/*.hal)
hidl_package(host-hidl-base android.hidl.base@1.0 ${hals})

foreach(room hidl cutils usbhost log)
    add_library(host-${room} INTERFACE)
    target_include_directories(host-${room} INTERFACE ${PROJECT_SOURCE_DIR}/host/${room}/include)
    target_link_libraries(host-${room} INTERFACE android-utils android-log)
endforeach()
target_include_directories(host-hidl SYSTEM INTERFACE ${HIDL_OUTPUT_DIR})
target_link_libraries(host-hidl-base PRIVATE host-hidl)

add_subdirectory(interfaces)
add_dependencies(bivista-interfaces-objects host-hidl-base)
foreach(room kernel diagnostics display sub_display)
    add_subdirectory(${room})
endforeach()

add_library(bivista-service OBJECT service/Service.cpp)
set_target_properties(bivista-service PROPERTIES CXX_STANDARD 17)
target_link_libraries(bivista-service PRIVATE bivista-device-flags bivista-device)

# Clients and neighbours of the service, as their Android.bp builds them.
add_library(bivista-examples OBJECT examples/cpp-client/Client.cpp examples/neighbour/Neighbour.cpp)
set_target_properties(bivista-examples PROPERTIES CXX_STANDARD 17)
target_link_libraries(bivista-examples PRIVATE bivista-device-flags host-hidl)
add_dependencies(bivista-examples bivista-interfaces-objects)

# Checks of control flow are made where all the code is seen at once: by the linker.
if(BIVISTA_CFI)
    add_library(bivista-phone SHARED $<TARGET_OBJECTS:bivista-service>)
    set_target_properties(bivista-phone PROPERTIES LINKER_LANGUAGE CXX)
    target_link_libraries(bivista-phone PRIVATE bivista-device)
    target_link_options(bivista-phone PRIVATE -flto -fsanitize=cfi -fuse-ld=lld -nostdlib
        -Wl,--unresolved-symbols=ignore-all -Wl,--undefined=main)
endif()
