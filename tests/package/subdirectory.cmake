# The sources inside another project, which gets the libraries and nothing else.
cmake_minimum_required(VERSION 3.25)
include("${CMAKE_CURRENT_LIST_DIR}/functions.cmake")

start()
borrow_objects("${WORK_DIR}/build/etabulon" launcher)
string(REPLACE ";" "\\;" adapters "${ADAPTERS}")
run("${CMAKE_COMMAND}" -S "${CMAKE_CURRENT_LIST_DIR}/subdirectory" -B "${WORK_DIR}/build"
    ${same_build} ${same_library} ${launcher} "-DETABULON_DIR=${SOURCE_DIR}" "-DADAPTERS=${adapters}"
    "-DEXPECTED_VERSION=${VERSION}")
run("${CMAKE_COMMAND}" --build "${WORK_DIR}/build")
run("${WORK_DIR}/build/consumer")
run("${CMAKE_COMMAND}" --install "${WORK_DIR}/build" --prefix "${WORK_DIR}/installed")
file(GLOB_RECURSE installed RELATIVE "${WORK_DIR}/installed" "${WORK_DIR}/installed/*")
if(NOT installed STREQUAL "bin/consumer")
    message(FATAL_ERROR "installed with the project around it: ${installed}")
endif()
