# SPDX-License-Identifier: Zlib
# What `cmake --install` puts where. Components: `libraries` (what programs need to run), `development` (headers,
# static libraries, the CMake package, pkg-config files), `documentation` and `program` (Korvalen and ormsel-run).
include(CMakePackageConfigHelpers)
set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/ormsel")
set(native_include_dir "${CMAKE_INSTALL_INCLUDEDIR}/ormsel-native")

# install_library(target name include-folder): both kinds of a library and its targets for CMake.
function(install_library target name folder)
    set(kinds ${target})
    if(TARGET ${target}_shared)
        list(APPEND kinds ${target}_shared)
    endif()
    install(TARGETS ${kinds} EXPORT ormsel-${name}-targets
        ARCHIVE COMPONENT development
        LIBRARY COMPONENT libraries NAMELINK_COMPONENT development
        INCLUDES DESTINATION "${folder}")
    install(EXPORT ormsel-${name}-targets NAMESPACE ormsel:: DESTINATION "${package_dir}" COMPONENT development)
endfunction()
# It finds the library for surfaces beside it, wherever the tree is: a program's own run path doesn't reach that far.
if(TARGET ormsel_native_shared)
    set_target_properties(ormsel_native_shared PROPERTIES INSTALL_RPATH "$ORIGIN")
endif()
install_library(ormsel ormsel "${CMAKE_INSTALL_INCLUDEDIR}")
install_library(ormsel_native native "${native_include_dir}")

install(DIRECTORY include/ormsel DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" COMPONENT development)
# The platform's headers keep their own names, so they get a folder of their own.
install(DIRECTORY platform/include/ DESTINATION "${native_include_dir}" COMPONENT development
    FILES_MATCHING PATTERN "*.h")

configure_package_config_file(cmake/ormsel-config.cmake.in ormsel-config.cmake INSTALL_DESTINATION "${package_dir}")
write_basic_package_version_file(ormsel-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/ormsel-config.cmake" "${PROJECT_BINARY_DIR}/ormsel-config-version.cmake"
    DESTINATION "${package_dir}" COMPONENT development)

# The .pc files say the prefix, which is known when it comes to installing.
foreach(name ormsel ormsel-native)
    set(values "")
    foreach(variable CMAKE_INSTALL_INCLUDEDIR CMAKE_INSTALL_LIBDIR PROJECT_VERSION PROJECT_SOURCE_DIR)
        string(APPEND values "set(${variable} \"${${variable}}\")\n")
    endforeach()
    install(CODE "${values}
        set(pc_file \"\${CMAKE_INSTALL_PREFIX}/\${CMAKE_INSTALL_LIBDIR}/pkgconfig/${name}.pc\")
        configure_file(\"\${PROJECT_SOURCE_DIR}/cmake/${name}.pc.in\" \"\$ENV{DESTDIR}\${pc_file}\" @ONLY)
        list(APPEND CMAKE_INSTALL_MANIFEST_FILES \"\${pc_file}\")"
        COMPONENT development)
endforeach()

if(TARGET korvalen)
    if(BUILD_SHARED_LIBS)
        file(RELATIVE_PATH libraries_from_program "${CMAKE_INSTALL_FULL_BINDIR}" "${CMAKE_INSTALL_FULL_LIBDIR}")
        set_target_properties(korvalen PROPERTIES INSTALL_RPATH "$ORIGIN/${libraries_from_program}")
    endif()
    # Whoever built ormsel-run alone installs that.
    install(TARGETS korvalen COMPONENT program OPTIONAL)
endif()
install(FILES LICENSE README.md CHANGELOG.md DESTINATION "${CMAKE_INSTALL_DOCDIR}" COMPONENT documentation)

# Archives of the installed tree, for systems without packages of their own: cpack -G TGZ, and tar -C / -xf.
# The .pc files hold the prefix, so the tree goes where CMAKE_INSTALL_PREFIX says.
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX "${CMAKE_INSTALL_PREFIX}")
set(CPACK_INCLUDE_TOPLEVEL_DIRECTORY OFF)
set(CPACK_PACKAGE_VENDOR "The Ormsel authors")
set(CPACK_RESOURCE_FILE_LICENSE "${PROJECT_SOURCE_DIR}/LICENSE")
set(CPACK_PACKAGE_FILE_NAME "ormsel-${PROJECT_VERSION}-${CMAKE_SYSTEM_NAME}-${CMAKE_SYSTEM_PROCESSOR}")
set(CPACK_SOURCE_IGNORE_FILES "/build/;/\\\\.git/")
set(CPACK_STRIP_FILES ON)
include(CPack)

# The installed tree is tested by programs that know nothing else of this project.
if(ORMSEL_TESTS AND ORMSEL_SHARED)
    add_test(NAME consumer COMMAND "${PROJECT_SOURCE_DIR}/tests/consumer/run" "${PROJECT_BINARY_DIR}")
    set_tests_properties(consumer PROPERTIES TIMEOUT 600)
endif()
