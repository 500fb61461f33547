# What is installed: libraries, headers, the packages for CMake and pkg-config, the program with its
# pages. The component `library` is what a program needs to run, `development` what building one
# takes, `program` the command line.

include(CMakePackageConfigHelpers)

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/etabulon")
set(pkgconfig_dir "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
get_property(libraries GLOBAL PROPERTY ETABULON_LIBRARIES)

# Files of the build that are installed come about with this target, and with less than all.
add_custom_target(etabulon-installable ALL)
add_dependencies(etabulon-installable ${libraries})

# --- Libraries -------------------------------------------------------------------------------

# A shared library is used without what it stands on; a static one is linked with all of that.
if(BUILD_SHARED_LIBS)
    set(ETABULON_IS_STATIC OFF)
else()
    set(ETABULON_IS_STATIC ON)
endif()

# Writes <library>.pc, with paths from its own folder, so that an installed copy can be moved.
function(etabulon_pkgconfig library)
    get_target_property(description ${library} ETABULON_DESCRIPTION)
    get_target_property(needed ${library} ETABULON_REQUIRES)
    get_target_property(packages ${library} ETABULON_PACKAGES)
    get_target_property(flags ${library} ETABULON_FLAGS)
    set(requires)
    foreach(other IN LISTS needed)
        if(other AND other STREQUAL "etabulon")
            list(APPEND requires "etabulon = ${PROJECT_VERSION}")
        elseif(other)
            list(APPEND requires "etabulon-${other} = ${PROJECT_VERSION}")
        endif()
    endforeach()
    set(libs -l${library})
    if(ETABULON_IS_STATIC)
        if(packages)
            list(APPEND requires ${packages})
        endif()
        if(flags)
            list(APPEND libs ${flags})
        endif()
    endif()
    set(cflags)
    if(library STREQUAL "etabulon")
        list(APPEND libs ${CMAKE_THREAD_LIBS_INIT})
        if(ETABULON_CHECKS)
            set(cflags " -DETABULON_CHECKS")
        endif()
    endif()
    list(JOIN requires ", " requires)
    list(JOIN libs " " libs)
    file(RELATIVE_PATH up "/prefix/${pkgconfig_dir}" "/prefix")
    configure_file(cmake/library.pc.in "${PROJECT_BINARY_DIR}/${library}.pc" @ONLY)
    install(FILES "${PROJECT_BINARY_DIR}/${library}.pc" DESTINATION "${pkgconfig_dir}"
        COMPONENT development)
endfunction()

set(ETABULON_COMPONENTS)
foreach(library IN LISTS libraries)
    get_target_property(component ${library} ETABULON_COMPONENT)
    list(APPEND ETABULON_COMPONENTS ${component})
    set(inline_headers)
    get_target_property(header_sets ${library} HEADER_SETS)
    if("inline_headers" IN_LIST header_sets)
        set(inline_headers FILE_SET inline_headers COMPONENT development)
    endif()
    install(TARGETS ${library} EXPORT etabulon-${component}
        LIBRARY COMPONENT library NAMELINK_COMPONENT development
        ARCHIVE COMPONENT development
        FILE_SET HEADERS COMPONENT development
        ${inline_headers})
    # A component has a file of its own, so that it asks only for what itself stands on.
    install(EXPORT etabulon-${component} NAMESPACE etabulon:: DESTINATION "${package_dir}"
        COMPONENT development)
    etabulon_pkgconfig(${library})
endforeach()

configure_package_config_file(cmake/etabulonConfig.cmake.in
    "${PROJECT_BINARY_DIR}/etabulonConfig.cmake" INSTALL_DESTINATION "${package_dir}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/etabulonConfigVersion.cmake"
    COMPATIBILITY SameMinorVersion)
install(FILES
    "${PROJECT_BINARY_DIR}/etabulonConfig.cmake"
    "${PROJECT_BINARY_DIR}/etabulonConfigVersion.cmake"
    cmake/FindLibCsv.cmake
    cmake/FindLibXlsxWriter.cmake
    cmake/FindUtf8Proc.cmake
    DESTINATION "${package_dir}" COMPONENT development)

# --- The program -----------------------------------------------------------------------------

if(TARGET etabulon-cli)
    add_dependencies(etabulon-installable etabulon-cli etabulon-man)
    install(TARGETS etabulon-cli RUNTIME COMPONENT program)
    install(DIRECTORY "${ETABULON_PAGES}/" DESTINATION "${CMAKE_INSTALL_MANDIR}/man1"
        COMPONENT program FILES_MATCHING PATTERN "*.1")
    install(FILES "${ETABULON_PAGES}/etabulon.bash"
        DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions"
        RENAME etabulon COMPONENT program)
    install(FILES "${ETABULON_PAGES}/saved-view.schema.json"
        DESTINATION "${CMAKE_INSTALL_DATADIR}/etabulon" COMPONENT program)
endif()

if(PROJECT_IS_TOP_LEVEL)
    include(Debian)
endif()
