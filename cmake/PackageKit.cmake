# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# What a client's author installs: the library's rest (Client.cmake) as bivista-dev, the Python package as
# python3-bivista. Included by Package.cmake.

include(CMakePackageConfigHelpers)
set(headers ${CMAKE_INSTALL_INCLUDEDIR}/bivista)
set(cmake_folder ${CMAKE_INSTALL_LIBDIR}/cmake/bivista)

# The library itself is the programs' package's: a client needs no headers to run.
install(TARGETS bivista-client EXPORT bivista
    LIBRARY COMPONENT programs NAMELINK_COMPONENT development)
# GtestPrinter.h would need GoogleTest's headers.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/host/hidl/include/ DESTINATION ${headers} COMPONENT development
    PATTERN GtestPrinter.h EXCLUDE)
install(DIRECTORY ${HIDL_OUTPUT_DIR}/ DESTINATION ${headers} COMPONENT development
    FILES_MATCHING PATTERN *.h)
# Each folder has the name of its root, as hidl-gen's option -r wants it.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/interfaces/ COMPONENT development
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bivista/interfaces/vendor.qmx.hardware FILES_MATCHING PATTERN *.hal)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/host/hidl/interfaces/android/hidl/ COMPONENT development
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bivista/interfaces/android.hidl FILES_MATCHING PATTERN *.hal)

install(EXPORT bivista NAMESPACE bivista:: FILE bivistaTargets.cmake DESTINATION ${cmake_folder}
    COMPONENT development)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/package/bivistaConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${packaging}/bivistaConfig.cmake ${PROJECT_BINARY_DIR}/package/bivistaConfigVersion.cmake
    DESTINATION ${cmake_folder} COMPONENT development)
configure_file(${packaging}/bivista.pc.in ${PROJECT_BINARY_DIR}/package/bivista.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/package/bivista.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
    COMPONENT development)

# What Debian asks of each package: its documents, which are those of bivista, and lintian's overrides.
function(package_papers package component)
    set(link ${PROJECT_BINARY_DIR}/package/doc/${package})
    file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/package/doc)
    file(CREATE_LINK bivista ${link} SYMBOLIC)
    install(FILES ${link} DESTINATION ${CMAKE_INSTALL_DATADIR}/doc COMPONENT ${component})
    install(FILES ${packaging}/${package}.lintian-overrides RENAME ${package}
        DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides COMPONENT ${component})
endfunction()

package_papers(bivista-dev development)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME bivista-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "bivista (= ${PROJECT_VERSION}), android-libutils-dev, android-libcutils-dev, android-liblog-dev")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "headers and libraries for clients of the Bivista service
With these a C++ program calls the service of the Bivista cover, and a
neighbour of the service serves what that one calls. They hold the HIDL
interfaces, as hidl-gen writes them and as text, HIDL's own headers for a
Linux machine, and the files of CMake and pkg-config.")

set(python_sources ${PROJECT_SOURCE_DIR}/python/bivista)
if(NOT EXISTS ${python_sources})
    set(python_component)
    return()
endif()
set(python_component python)
install(DIRECTORY ${python_sources} DESTINATION lib/python3/dist-packages COMPONENT python
    PATTERN __pycache__ EXCLUDE)
package_papers(python3-bivista python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-bivista)
set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "bivista (= ${PROJECT_VERSION}), python3 (>= 3.11)")
# Its fixtures start phone and service for tests.
set(CPACK_DEBIAN_PYTHON_PACKAGE_SUGGESTS python3-pytest)
set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA ${packaging}/python/postinst ${packaging}/python/prerm)
set(CPACK_DEBIAN_PYTHON_DESCRIPTION "Python client of the Bivista service
A typed package, blocking and with asyncio, for all methods and callbacks of
the service of the Bivista cover. It speaks to the service through the session
of bivistactl. Fixtures of pytest start a phone and the service for a test.")
