# Debian packages by cpack, one for each component that is installed. The packages of a static build
# are without the library's own, which only running needs.

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME etabulon)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "ETabulon")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)

set(CPACK_DEBIAN_PACKAGE_MAINTAINER "ETabulon developers <etabulon@example.org>" CACHE STRING
    "The maintainer that the Debian packages name")
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${PROJECT_BINARY_DIR}/lib")
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)

set(CPACK_COMPONENTS_ALL development)
if(BUILD_SHARED_LIBS)
    list(PREPEND CPACK_COMPONENTS_ALL library)
endif()
if(TARGET etabulon-cli)
    list(APPEND CPACK_COMPONENTS_ALL program)
endif()

# --- Each package ----------------------------------------------------------------------------

# The first line of a description is its package's own.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")

set(about_library
"A cursor walks a table whose columns, also those behind foreign keys, become
the levels of a tree. Listeners build trees, cross tables and rankings from
the walk, and edits are seen before they are saved.")
set(same_version "${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}")
set(library_package "libetabulon${ETABULON_SOVERSION}")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME ${library_package})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION
"explores a database as a tree and computes on it - shared libraries
${about_library}

This package holds the shared libraries.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libetabulon-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
if(BUILD_SHARED_LIBS)
    set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${library_package} (= ${same_version})")
else()
    set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS "libsqlite3-dev, libcsv-dev, libicu-dev, libxlsxwriter-dev, libutf8proc-dev, libsimdjson-dev, zlib1g-dev")
endif()
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
"explores a database as a tree and computes on it - development
${about_library}

This package holds the headers and what CMake and pkg-config ask for.")

set(CPACK_DEBIAN_PROGRAM_PACKAGE_NAME etabulon)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SECTION database)
if(BUILD_SHARED_LIBS)
    set(CPACK_DEBIAN_PROGRAM_PACKAGE_DEPENDS "${library_package} (= ${same_version})")
endif()
set(CPACK_COMPONENT_PROGRAM_DESCRIPTION
"walks and sums up SQLite databases and CSV files, level by level
The program prints the records, trees of levels, cross tables and rankings of
any SQLite database or CSV file, explores them as a tree in the terminal, and
saves edits of a database all or none.")

# --- What only Debian wants ------------------------------------------------------------------

string(TIMESTAMP debian_year "%Y" UTC)
string(TIMESTAMP debian_date "%a, %d %b %Y %H:%M:%S +0000" UTC)
set(debian_folder "${PROJECT_BINARY_DIR}/debian")
configure_file(cmake/debian-changelog.in "${debian_folder}/changelog.Debian" @ONLY)
configure_file(cmake/debian-copyright.in "${debian_folder}/copyright" @ONLY)
file(WRITE "${PROJECT_BINARY_DIR}/debian-control/triggers" "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA "${PROJECT_BINARY_DIR}/debian-control/triggers")
configure_file(CHANGELOG.md "${debian_folder}/changelog" COPYONLY)
set(CPACK_ETABULON_DOCUMENTS "${debian_folder}")
set(CPACK_PRE_BUILD_SCRIPTS "${PROJECT_SOURCE_DIR}/cmake/DebianStage.cmake")

include(CPack)
