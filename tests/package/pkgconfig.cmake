# Programs that are compiled with what pkg-config tells, against the packages that package.consumer
# and package.shared have moved: STATIC_PREFIX, SHARED_PREFIX.
cmake_minimum_required(VERSION 3.25)
include("${CMAKE_CURRENT_LIST_DIR}/functions.cmake")

separate_arguments(compile UNIX_COMMAND
    "${CXX_COMPILER} -std=c++20 ${CXX_FLAGS} ${CXX_FLAGS_OF_TYPE}")

# Sets `flags` to what pkg-config answers of `packages` in `folder`.
function(ask_pkgconfig folder packages flags)
    run("${CMAKE_COMMAND}" -E env "PKG_CONFIG_PATH=${folder}" "${PKG_CONFIG}" ${ARGN} ${packages})
    separate_arguments(answer UNIX_COMMAND "${output}")
    set(${flags} ${answer} PARENT_SCOPE)
endfunction()

start()
set(packages)
set(definitions "-DEXPECTED_VERSION=\"${VERSION}\"")
foreach(adapter IN LISTS ADAPTERS)
    string(TOUPPER "-DWITH_${adapter}" definition)
    list(APPEND definitions ${definition})
    list(APPEND packages etabulon-${adapter})
endforeach()

foreach(prefix IN ITEMS "${STATIC_PREFIX}" "${SHARED_PREFIX}")
    file(GLOB_RECURSE found "${prefix}/*/etabulon.pc")
    get_filename_component(folder "${found}" DIRECTORY)
    ask_pkgconfig("${folder}" etabulon version --modversion)
    if(NOT version STREQUAL VERSION)
        message(FATAL_ERROR "${found} tells version ${version}, not ${VERSION}")
    endif()
    ask_pkgconfig("${folder}" etabulon valid --validate)
    ask_pkgconfig("${folder}" etabulon library --cflags --libs)
    ask_pkgconfig("${folder}" "${packages}" adapters --cflags --libs)
    ask_pkgconfig("${folder}" etabulon libraries --variable=libdir)

    run(${compile} "${SOURCE_DIR}/examples/first.cpp" -o first ${library})
    run(${compile} ${definitions} "${CMAKE_CURRENT_LIST_DIR}/consumer/main.cpp" -o consumer
        ${library} ${adapters})
    foreach(program IN ITEMS first consumer)
        run("${CMAKE_COMMAND}" -E env "LD_LIBRARY_PATH=${libraries}" "${WORK_DIR}/${program}")
    endforeach()
endforeach()
