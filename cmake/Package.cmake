# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# What is installed on a Linux machine, and the Debian packages of it, each a component of the installation:
#     cmake --build --preset release --target package

include(GNUInstallDirs)
set(packaging ${PROJECT_SOURCE_DIR}/package)
set(doc_folder ${CMAKE_INSTALL_DATADIR}/doc/bivista)

set(programs bivistactl bivista-emulator)
if(TARGET bivista-vts)
    list(APPEND programs bivista-vts)
endif()
install(TARGETS ${programs})
install(TARGETS bivista-service DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/bivista)
# Where the loader looks for Android's libraries is the same here and there.
set_target_properties(${programs} bivista-service PROPERTIES BUILD_WITH_INSTALL_RPATH ON)

get_target_property(service_name bivista-service OUTPUT_NAME)
set(BIVISTA_SERVICE ${CMAKE_INSTALL_FULL_LIBEXECDIR}/bivista/${service_name})
configure_file(${packaging}/bivista.service.in ${PROJECT_BINARY_DIR}/package/bivista.service @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/package/bivista.service DESTINATION lib/systemd/system)
install(FILES ${packaging}/60-bivista.rules DESTINATION lib/udev/rules.d)
install(FILES ${packaging}/host.prop DESTINATION ${CMAKE_INSTALL_FULL_SYSCONFDIR}/bivista)

# Side by side as here, so that the links between them lead somewhere.
install(FILES LICENSES/Apache-2.0.txt DESTINATION ${doc_folder} RENAME LICENSE)
install(FILES CHANGELOG.md CONTRIBUTING.md README.md SECURITY.md ${packaging}/copyright
    DESTINATION ${doc_folder})
foreach(linked host/README.md emulator/cover/README.md emulator/phone/README.md emulator/ui/README.md
        host/hidl/README.md tools/README.md vm/README.md vts/README.md
        interfaces/bivista/1.0/IBivista.hal interfaces/bivista/1.0/types.hal
        interfaces/bivista/1.1/IBivista.hal)
    cmake_path(GET linked PARENT_PATH folder)
    install(FILES ${PROJECT_SOURCE_DIR}/${linked} DESTINATION ${doc_folder}/${folder})
endforeach()

file(GLOB documents CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/*.md
    ${PROJECT_SOURCE_DIR}/docs/*.png)
install(FILES ${documents} DESTINATION ${doc_folder}/docs)
install(DIRECTORY docs/diagrams DESTINATION ${doc_folder}/docs)
file(GLOB scenarios CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/scenarios/*.yaml
    ${PROJECT_SOURCE_DIR}/scenarios/*.png)
install(FILES ${scenarios} DESTINATION ${doc_folder}/scenarios)
install(DIRECTORY examples DESTINATION ${doc_folder} PATTERN __pycache__ EXCLUDE)

# install_compressed(FILE FOLDER): without name and time, so that it is the same each time.
set(compressed)
function(install_compressed file folder)
    cmake_path(GET file FILENAME name)
    set(made ${PROJECT_BINARY_DIR}/package/${name}.gz)
    add_custom_command(OUTPUT ${made} COMMAND gzip -9nc ${file} > ${made} DEPENDS ${file} VERBATIM)
    install(FILES ${made} DESTINATION ${folder})
    set(compressed ${compressed} ${made} PARENT_SCOPE)
endfunction()

install_compressed(${packaging}/changelog ${doc_folder})
set(man_pages man8/bivista-service.8)
if(NOT CMAKE_CROSSCOMPILING OR BIVISTA_NATIVE)
    list(APPEND man_pages man1/bivistactl.1 man1/bivista-emulator.1)
endif()
if(TARGET bivista-vts)
    list(APPEND man_pages man1/bivista-vts.1)
endif()
foreach(page ${man_pages})
    cmake_path(GET page PARENT_PATH folder)
    install_compressed(${PROJECT_BINARY_DIR}/share/man/${page} ${CMAKE_INSTALL_DATADIR}/man/${folder})
endforeach()
add_custom_target(compressed ALL DEPENDS ${compressed})
add_dependencies(compressed pages)
install(FILES ${packaging}/lintian-overrides DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides RENAME bivista)

include(PackageKit)

# What there must be before the packages are made: the programs, their man pages and completions, the library.
add_custom_target(packaged DEPENDS ${programs} bivista-service bivista-client pages compressed)

# For another processor scripts/release.sh makes it, with a dpkg-shlibdeps of its own.
if(CMAKE_CROSSCOMPILING AND NOT BIVISTA_NATIVE)
    return()
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL programs development ${python_component})
set(CPACK_PACKAGE_NAME bivista)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/package)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "The Bivista maintainers <bivista@localhost>")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_PROGRAMS_PACKAGE_NAME bivista)
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PROGRAMS_DESCRIPTION "service of the Bivista cover, with its client and an emulator
Bivista is a detachable cover with a screen, a small second panel and a pen.
The service drives one that is plugged in over USB; bivistactl is its client
on the command line. bivista-emulator runs the service on an emulated phone
with an emulated cover, and bivista-vts checks any service of the interface.
The library is for clients that were built with bivista-dev.")
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_SHLIBDEPS ON)
# What a client's package depends on by its library.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
# The letters of texts on the sub display.
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_RECOMMENDS fonts-dejavu-core)
# "ui --open" opens the page with it.
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_SUGGESTS xdg-utils)
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_CONTROL_EXTRA ${packaging}/conffiles ${packaging}/triggers ${packaging}/postinst
    ${packaging}/prerm ${packaging}/postrm)
include(CPack)
