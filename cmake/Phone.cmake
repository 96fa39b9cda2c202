# The device folders and the code of the interfaces, as a phone's build compiles them: for its
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
    ${CMAKE_SOURCE_DIR}/host/hidl/interfaces/android/hidl/base/1.0/*.hal)
hidl_package(host-hidl-base android.hidl.base@1.0 ${hals})

foreach(room hidl cutils usbhost log)
    add_library(host-${room} INTERFACE)
    target_include_directories(host-${room} INTERFACE ${CMAKE_SOURCE_DIR}/host/${room}/include)
    target_link_libraries(host-${room} INTERFACE android-utils android-log)
endforeach()
target_include_directories(host-hidl SYSTEM INTERFACE ${HIDL_OUTPUT_DIR})
target_link_libraries(host-hidl-base PRIVATE host-hidl)

add_subdirectory(interfaces)
add_subdirectory(kernel)
add_dependencies(bivista-interfaces host-hidl-base)

add_library(bivista-service OBJECT service/Service.cpp)
set_target_properties(bivista-service PROPERTIES CXX_STANDARD 17)
target_link_libraries(bivista-service PRIVATE bivista-device-flags bivista-device
    bivista-interfaces)

# Checks of control flow are made where all the code is seen at once: by the linker.
if(BIVISTA_CFI)
    add_library(bivista-phone SHARED $<TARGET_OBJECTS:bivista-service>
        $<TARGET_OBJECTS:bivista-device> $<TARGET_OBJECTS:bivista-interfaces>)
    set_target_properties(bivista-phone PROPERTIES LINKER_LANGUAGE CXX)
    target_link_options(bivista-phone PRIVATE -flto -fsanitize=cfi -fuse-ld=lld -nostdlib
        -Wl,--unresolved-symbols=ignore-all -Wl,--undefined=main)
endif()
