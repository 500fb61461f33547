# The package with shared libraries, and the command line on them.
cmake_minimum_required(VERSION 3.25)
include("${CMAKE_CURRENT_LIST_DIR}/functions.cmake")

start()
borrow_objects("${WORK_DIR}/build" launcher)
run("${CMAKE_COMMAND}" -S "${SOURCE_DIR}" -B "${WORK_DIR}/build" ${same_build} ${same_library}
    ${launcher} -DBUILD_SHARED_LIBS=ON)
# An installation needs no more than this target, which is also what ./demo builds.
run("${CMAKE_COMMAND}" --build "${WORK_DIR}/build" --target etabulon-installable)
install_and_move("${WORK_DIR}/build")
run_consumer("${WORK_DIR}/moved")

# Each library carries its version, and finds the others wherever it is.
string(REGEX MATCH "^0\\.[0-9]+|^[0-9]+" soversion "${VERSION}")
set(libraries ${ADAPTERS})
list(TRANSFORM libraries PREPEND "etabulon-")
foreach(library IN ITEMS etabulon ${libraries})
    file(GLOB_RECURSE found "${WORK_DIR}/moved/lib${library}.so.${soversion}")
    if(NOT found)
        message(FATAL_ERROR "lib${library}.so.${soversion} isn't installed")
    endif()
    run("${CMAKE_COMMAND}" -E env --unset=LD_LIBRARY_PATH ldd "${found}")
    if(output MATCHES "not found")
        message(FATAL_ERROR "${found} lacks:\n${output}")
    endif()
endforeach()

# So does the program. Whatever else is built uses what the libraries export.
run("${CMAKE_COMMAND}" --build "${WORK_DIR}/build")
set(program "${CMAKE_COMMAND}" -E env --unset=LD_LIBRARY_PATH "${WORK_DIR}/moved/bin/etabulon")
if(EXISTS "${WORK_DIR}/moved/bin/etabulon")
    run(${program} --version)
    if(NOT output STREQUAL "etabulon ${VERSION}\n")
        message(FATAL_ERROR "etabulon --version tells ${output}")
    endif()
    # The walk of a table of text needs the SQLite adapter and what that stands on.
    run(${program} walk "${SOURCE_DIR}/data/birdstrikes.csv" --limit 1)
endif()
