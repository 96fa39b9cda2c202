# Compilers, warnings and sanitizers, the same for every room; and how tests are declared.

find_program(CCACHE ccache)
if(CCACHE)
    # What the cache must overlook to serve a source that uses precompiled headers.
    set(CMAKE_C_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env
            CCACHE_SLOPPINESS=pch_defines,time_macros ${CCACHE})
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_C_COMPILER_LAUNCHER})
endif()

set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS ON)
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_CXX_FLAGS_RELEASE "-O2 -g1")
set(CMAKE_CXX_FLAGS_DEBUG "-O1 -g -fno-omit-frame-pointer")

set(BIVISTA_SANITIZER "" CACHE STRING "Value for -fsanitize=, empty for none")
if(BIVISTA_SANITIZER)
    # The device folders are built without RTTI, which the vptr check would need.
    # Line numbers are all that a report needs, and make for smaller programs.
    set(sanitize -fsanitize=${BIVISTA_SANITIZER} -fno-sanitize-recover=all -fno-sanitize=vptr -g1)
    add_compile_options(${sanitize})
    add_link_options(${sanitize})
else()
    add_compile_definitions($<$<CONFIG:Release>:_FORTIFY_SOURCE=2>)
endif()

option(BIVISTA_PHONE "Compile the device folders for the phone's processor, and nothing else" OFF)
option(BIVISTA_CFI "With BIVISTA_PHONE: check control flow" OFF)

option(BIVISTA_FUZZ "Build the fuzz targets for libFuzzer" OFF)
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

# Flags of code that we wrote. Clang checks the lock annotations.
add_library(bivista-warnings INTERFACE)
target_compile_options(bivista-warnings INTERFACE -Wall -Wextra -Werror
        $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>)

# Flags of the folders that are also built in an Android tree. There clang checks the locks' order, too.
add_library(bivista-device-flags INTERFACE)
target_compile_options(bivista-device-flags INTERFACE -fno-exceptions -fno-rtti
        $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety-beta>)
target_link_libraries(bivista-device-flags INTERFACE bivista-warnings)
target_include_directories(bivista-device-flags INTERFACE ${CMAKE_SOURCE_DIR})

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

# bivista_test(NAME SOURCES ... LIBRARIES ... [LABELS ...] [TIMEOUT seconds] [MAIN] [PROGRAMS]
#     [NATIVE])
# Declares a GoogleTest program; each of its tests becomes a process of its own, since the state of
# the service is process-wide. MAIN: the sources bring their own main(), which enters a world of its
# own. PROGRAMS: it starts programs of this build. NATIVE: it makes system calls that QEMU's user mode
# does not know. None of these can be done where another processor is emulated: there such a test is
# built and not run. Label "threads": the test is one where threads meet, and runs under
# ThreadSanitizer in every ./test.sh --all. The time limit only ends a test that hangs. The sanitizers'
# options stand in CMakePresets.json, so that the programs which a test starts get them too. The
# test's own sources are not optimised, since compiling them is what takes most of the time; what
# they test is. The target "threads_tests" builds all tests with that label.
add_custom_target(threads_tests)
function(bivista_test name)
    cmake_parse_arguments(arg "MAIN;PROGRAMS;NATIVE" "TIMEOUT" "SOURCES;LIBRARIES;LABELS" ${ARGN})
    add_executable(${name} ${arg_SOURCES})
    bivista_compile_quickly(${name})
    target_precompile_headers(${name} REUSE_FROM test-headers)
    bivista_same_precompiled(${name})
    target_link_libraries(${name} PRIVATE bivista-warnings ${arg_LIBRARIES}
            GTest::gmock $<IF:$<BOOL:${arg_MAIN}>,GTest::gtest,GTest::gtest_main>)
    target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR})
    set_target_properties(${name} PROPERTIES
            RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
    if(CMAKE_CROSSCOMPILING AND (arg_MAIN OR arg_PROGRAMS OR arg_NATIVE))
        return()
    endif()
    set(properties TIMEOUT 300)
    if(arg_TIMEOUT)
        # ctest begins with these, or they would run on alone at the end.
        set(properties TIMEOUT ${arg_TIMEOUT} COST ${arg_TIMEOUT})
    endif()
    if(arg_LABELS)
        list(APPEND properties LABELS "${arg_LABELS}")
    endif()
    if(threads IN_LIST arg_LABELS)
        add_dependencies(threads_tests ${name})
    endif()
    include(GoogleTest)
    gtest_discover_tests(${name} TEST_PREFIX ${name}. DISCOVERY_TIMEOUT 60
            PROPERTIES ${properties})
endfunction()
