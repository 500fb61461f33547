# The Debian packages of the build SHARED_BUILD, which package.shared has made, unpacked side by side.
cmake_minimum_required(VERSION 3.25)
include("${CMAKE_CURRENT_LIST_DIR}/functions.cmake")

start()
run("${CPACK}" --config "${SHARED_BUILD}/CPackConfig.cmake" -B "${WORK_DIR}")
file(GLOB packages "${WORK_DIR}/*.deb")

# Sets `value` to a field of the package whose name begins with `name`, and unpacks it.
function(open_package name field value)
    list(FILTER packages INCLUDE REGEX "/${name}_${VERSION}-[0-9]+_[a-z0-9]+\\.deb$")
    list(LENGTH packages count)
    if(NOT count EQUAL 1)
        message(FATAL_ERROR "there should be one package ${name}: ${packages}")
    endif()
    run("${DPKG_DEB}" --extract "${packages}" "${WORK_DIR}/root")
    run("${DPKG_DEB}" --field "${packages}" ${field})
    set(${value} "${output}" PARENT_SCOPE)
endfunction()

# Each names what it stands on.
function(expect what text)
    foreach(part IN LISTS ARGN)
        if(NOT text MATCHES "${part}")
            message(FATAL_ERROR "${what} lacks ${part}: ${text}")
        endif()
    endforeach()
endfunction()

string(REGEX MATCH "^0\\.[0-9]+|^[0-9]+" soversion "${VERSION}")
set(library "libetabulon${soversion}")
open_package("${library}" Depends depends)
expect("${library}" "${depends}" "libc6 " "libstdc\\+\\+6 ")
if("sqlite" IN_LIST ADAPTERS)
    expect("${library}" "${depends}" "libsqlite3-0 " "libcsv3 ")
endif()
if("report" IN_LIST ADAPTERS)
    expect("${library}" "${depends}" "libxlsxwriter4 " "libutf8proc2 ")
endif()
if("jsonl" IN_LIST ADAPTERS)
    expect("${library}" "${depends}" "libsimdjson14 ")
endif()
open_package(libetabulon-dev Depends depends)
expect(libetabulon-dev "${depends}" "${library} \\(= ${VERSION}-1\\)")
open_package(etabulon Depends depends)
expect(etabulon "${depends}" "${library} \\(= ${VERSION}-1\\)" "libfmt")

# What is unpacked runs, and has its papers.
set(root "${WORK_DIR}/root/usr")
run("${root}/bin/etabulon" --version)
if(NOT output STREQUAL "etabulon ${VERSION}\n")
    message(FATAL_ERROR "etabulon --version tells ${output}")
endif()
foreach(file IN ITEMS
        share/man/man1/etabulon.1.gz share/man/man1/etabulon-walk.1.gz
        share/bash-completion/completions/etabulon include/etabulon/version.h
        share/doc/etabulon/copyright share/doc/libetabulon-dev/changelog.Debian.gz
        share/doc/${library}/changelog.gz)
    if(NOT EXISTS "${root}/${file}")
        message(FATAL_ERROR "no package has usr/${file}")
    endif()
endforeach()
