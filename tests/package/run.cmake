# Installs what was built into a fresh folder, then configures, builds and runs the consumer there.
function(run)
    execute_process(COMMAND ${ARGN} WORKING_DIRECTORY "${WORK_DIR}"
        RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
    if(NOT result EQUAL 0)
        list(JOIN ARGN " " command)
        message(FATAL_ERROR "${command}\n${output}")
    endif()
endfunction()

file(REMOVE_RECURSE "${WORK_DIR}")
file(MAKE_DIRECTORY "${WORK_DIR}")
run("${CMAKE_COMMAND}" --install "${BUILT_DIR}" --prefix "${WORK_DIR}/installed")
string(REPLACE ";" "\\;" adapters "${ADAPTERS}")
run("${CMAKE_COMMAND}" -S "${SOURCE_DIR}" -B "${WORK_DIR}/build" -G "${GENERATOR}"
    "-DCMAKE_PREFIX_PATH=${WORK_DIR}/installed"
    "-DCMAKE_CXX_COMPILER=${CXX_COMPILER}"
    "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}"
    "-DCMAKE_BUILD_TYPE=${BUILD_TYPE}"
    "-DADAPTERS=${adapters}")
run("${CMAKE_COMMAND}" --build "${WORK_DIR}/build")
run("${WORK_DIR}/build/consumer")
