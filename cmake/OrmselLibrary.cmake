# SPDX-License-Identifier: Zlib

# ormsel_export_map(list map): writes the linker's map of the names that a library exports: those that its Debian
# package promises, by their versions, and no others.
function(ormsel_export_map list map)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${list}")
    file(STRINGS "${list}" lines REGEX "^ [^@ ]+@[^ ]+ ")
    set(versions "")
    foreach(line ${lines})
        string(REGEX MATCH "^ ([^@ ]+)@([^ ]+)" name "${line}")
        if(NOT CMAKE_MATCH_1 STREQUAL CMAKE_MATCH_2) # a version has a line, too
            list(APPEND versions ${CMAKE_MATCH_2})
            string(APPEND names_${CMAKE_MATCH_2} "    ${CMAKE_MATCH_1};\n")
        endif()
    endforeach()
    if(NOT versions)
        message(FATAL_ERROR "${list} has no names")
    endif()
    list(REMOVE_DUPLICATES versions)
    set(others "local:\n    *;\n")
    set(text "# Follows from ${list}.\n")
    foreach(version ${versions})
        string(APPEND text "${version} {\nglobal:\n${names_${version}}${others}};\n")
        set(others "")
    endforeach()
    file(CONFIGURE OUTPUT "${map}" CONTENT "${text}" @ONLY)
endfunction()

# ormsel_library(target NAME name EXPORTS list [REQUIRES target] [INCLUDES folder...] [LINK library...]
#                SOURCES file...)
#
# Compiles the sources once and makes two libraries of them: the static `target`, whose inner functions the tests
# can call, and with ORMSEL_SHARED the shared `target_shared`, which exports the names of the list and nothing
# else. REQUIRES is another library made here, INCLUDES are folders of public headers, LINK what users of the
# library need as well.
#
# Projects link `ormsel::name`, the kind that BUILD_SHARED_LIBS asks for, or `ormsel::name-static` and
# `ormsel::name-shared`, in this build as from an installed package.
function(ormsel_library target)
    cmake_parse_arguments(arg "" "NAME;EXPORTS;REQUIRES" "INCLUDES;LINK;SOURCES" ${ARGN})

    set(objects ${target}_objects)
    add_library(${objects} OBJECT EXCLUDE_FROM_ALL ${arg_SOURCES})
    # A function that the library calls is its own, whatever else a program defines.
    target_compile_options(${objects} PRIVATE -fno-semantic-interposition)
    set_target_properties(${objects} PROPERTIES POSITION_INDEPENDENT_CODE ON)
    target_link_libraries(${objects} PRIVATE ormsel_warnings)

    set(libraries ${target})
    add_library(${target} STATIC $<TARGET_OBJECTS:${objects}>)
    set(wanted ${target})
    set(output ${arg_NAME})
    if(NOT output STREQUAL "ormsel")
        set(output ormsel-${output})
    endif()
    if(ORMSEL_SHARED)
        add_library(${target}_shared SHARED $<TARGET_OBJECTS:${objects}>)
        list(APPEND libraries ${target}_shared)
        set(map "${CMAKE_CURRENT_BINARY_DIR}/${target}.map")
        ormsel_export_map("${arg_EXPORTS}" "${map}")
        target_link_options(${target}_shared PRIVATE -Wl,-z,defs -Wl,-Bsymbolic-functions
            "-Wl,--version-script=${map}")
        set_target_properties(${target}_shared PROPERTIES EXPORT_NAME ${arg_NAME}-shared LINK_DEPENDS "${map}"
            VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
        add_library(ormsel::${arg_NAME}-shared ALIAS ${target}_shared)
        if(BUILD_SHARED_LIBS)
            set(wanted ${target}_shared)
        endif()
    endif()
    set_target_properties(${target} PROPERTIES EXPORT_NAME ${arg_NAME}-static)
    add_library(ormsel::${arg_NAME}-static ALIAS ${target})
    add_library(ormsel::${arg_NAME} ALIAS ${wanted})

    set_target_properties(${libraries} PROPERTIES OUTPUT_NAME ${output})
    if(NOT PROJECT_IS_TOP_LEVEL)
        set_target_properties(${libraries} PROPERTIES EXCLUDE_FROM_ALL ON)
    endif()
    foreach(library ${objects} ${libraries})
        foreach(folder ${arg_INCLUDES})
            target_include_directories(${library} PUBLIC $<BUILD_INTERFACE:${folder}>)
        endforeach()
        target_link_libraries(${library} PUBLIC ${arg_LINK})
    endforeach()
    if(arg_REQUIRES)
        target_link_libraries(${objects} PUBLIC ${arg_REQUIRES}_objects)
        target_link_libraries(${target} PUBLIC ${arg_REQUIRES})
        if(ORMSEL_SHARED)
            target_link_libraries(${target}_shared PUBLIC ${arg_REQUIRES}_shared)
        endif()
    endif()
endfunction()
