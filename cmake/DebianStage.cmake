# Run by cpack for the files of the packages, before they are packed: adds the documents that Debian
# wants of each package, and packs the man pages.

find_program(gzip gzip REQUIRED)
file(GLOB packages LIST_DIRECTORIES true "${CPACK_TEMPORARY_DIRECTORY}/*")
foreach(package IN LISTS packages)
    get_filename_component(component "${package}" NAME)
    string(TOUPPER "${component}" component)
    set(name "${CPACK_DEBIAN_${component}_PACKAGE_NAME}")
    if(NOT name)
        continue()
    endif()
    set(documents "${package}/usr/share/doc/${name}")
    file(COPY "${CPACK_ETABULON_DOCUMENTS}/" DESTINATION "${documents}"
        FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ
        DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
            WORLD_READ WORLD_EXECUTE)
    file(GLOB pages "${package}/usr/share/man/man1/*.1")
    execute_process(COMMAND "${gzip}" -9nf "${documents}/changelog" "${documents}/changelog.Debian"
        ${pages} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
