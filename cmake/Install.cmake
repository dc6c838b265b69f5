# SPDX-License-Identifier: Zlib
# What `cmake --install` puts where: headers, libraries, the CMake package, the pkg-config file, and Korvalen.
include(CMakePackageConfigHelpers)
set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/ormsel")
set(host_include_dir "${CMAKE_INSTALL_INCLUDEDIR}/ormsel-host")

set_target_properties(ormsel ormsel_platform PROPERTIES
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR} INSTALL_RPATH "$ORIGIN")
install(TARGETS ormsel ormsel_platform EXPORT ormsel-targets
    INCLUDES DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" "${host_include_dir}")
install(EXPORT ormsel-targets NAMESPACE ormsel:: DESTINATION "${package_dir}")
install(DIRECTORY include/ormsel DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
# The platform's headers keep their own names, so they get a folder of their own.
install(DIRECTORY platform/include/ DESTINATION "${host_include_dir}" PATTERN testing.h EXCLUDE)

configure_package_config_file(cmake/ormsel-config.cmake.in ormsel-config.cmake INSTALL_DESTINATION "${package_dir}")
write_basic_package_version_file(ormsel-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/ormsel-config.cmake" "${PROJECT_BINARY_DIR}/ormsel-config-version.cmake"
    DESTINATION "${package_dir}")

# The .pc file says its prefix relative to itself, so that an installed tree may move.
file(RELATIVE_PATH pc_prefix "/p/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/p")
set(pc_requires_private "")
if(NOT ORMSEL_SCALAR_ONLY)
    set(pc_requires_private libhwy)
endif()
configure_file(cmake/ormsel.pc.in ormsel.pc @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/ormsel.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

if(TARGET korvalen)
    set_target_properties(korvalen PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
    install(TARGETS korvalen)
endif()
install(FILES LICENSE README.md DESTINATION "${CMAKE_INSTALL_DOCDIR}")

# The installed tree is tested by programs that know nothing else of this project.
if(BUILD_TESTING AND NOT CMAKE_CROSSCOMPILING AND NOT ORMSEL_SANITIZE)
    add_test(NAME consumer COMMAND "${PROJECT_SOURCE_DIR}/tests/consumer/run" "${PROJECT_BINARY_DIR}")
endif()
