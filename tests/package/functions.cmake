# What the package's tests share. Each is a script of its own: cmake -D... -P <name>.cmake, where
#   SOURCE_DIR  the project's folder     BUILT_DIR  its build, of VERSION with ADAPTERS
#   WORK_DIR    a folder for the test    PYTHON     may be empty
#   GENERATOR, CXX_COMPILER, CXX_FLAGS, CXX_FLAGS_OF_TYPE, BUILD_TYPE, CHECKS, WARNINGS_AS_ERRORS
#               how it was built

string(TOUPPER "${BUILD_TYPE}" type)
set(same_build
    -G "${GENERATOR}"
    "-DCMAKE_CXX_COMPILER=${CXX_COMPILER}"
    "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}"
    "-DCMAKE_CXX_FLAGS_${type}=${CXX_FLAGS_OF_TYPE}"
    "-DCMAKE_BUILD_TYPE=${BUILD_TYPE}")
set(same_library
    "-DETABULON_CHECKS=${CHECKS}"
    "-DETABULON_WARNINGS_AS_ERRORS=${WARNINGS_AS_ERRORS}")

# Runs a command in the test's folder and ends the test if it fails. Its output is in `output`.
function(run)
    execute_process(COMMAND ${ARGN} WORKING_DIRECTORY "${WORK_DIR}"
        RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
    if(NOT result EQUAL 0)
        list(JOIN ARGN " " command)
        message(FATAL_ERROR "${command}\n${output}")
    endif()
    set(output "${output}" PARENT_SCOPE)
endfunction()

# Ends the test unless the command fails and says `text`, however it is broken into lines.
function(run_fails text)
    execute_process(COMMAND ${ARGN} WORKING_DIRECTORY "${WORK_DIR}"
        RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
    string(REGEX REPLACE "[ \n]+" " " told "${output}")
    string(FIND "${told}" "${text}" at)
    if(result EQUAL 0 OR at EQUAL -1)
        list(JOIN ARGN " " command)
        message(FATAL_ERROR "${command}\nended with ${result} and should tell: ${text}\n${output}")
    endif()
endfunction()

# Starts the test in a folder without anything from an earlier run.
function(start)
    file(REMOVE_RECURSE "${WORK_DIR}")
    file(MAKE_DIRECTORY "${WORK_DIR}")
endfunction()

# Installs a build and moves what was installed to WORK_DIR/moved: no path may be needed that was
# only right before.
function(install_and_move build)
    run("${CMAKE_COMMAND}" --install "${build}" --prefix "${WORK_DIR}/installed")
    file(RENAME "${WORK_DIR}/installed" "${WORK_DIR}/moved")
endfunction()

# Configures, builds and runs the consumer with the package in `prefix`.
function(run_consumer prefix)
    string(REPLACE ";" "\\;" adapters "${ADAPTERS}")
    run("${CMAKE_COMMAND}" -S "${CMAKE_CURRENT_LIST_DIR}/consumer" -B "${WORK_DIR}/consumer"
        ${same_build} "-DCMAKE_PREFIX_PATH=${prefix}" "-DADAPTERS=${adapters}")
    run("${CMAKE_COMMAND}" --build "${WORK_DIR}/consumer")
    run("${WORK_DIR}/consumer/consumer")
endfunction()

# Sets `launcher` to an option with which a second build, in `build`, takes its objects from BUILT_DIR.
function(borrow_objects build launcher)
    if(PYTHON AND EXISTS "${BUILT_DIR}/compile_commands.json")
        # The interpreter itself, without what may stand before it: it is started for each object.
        run("${PYTHON}" -c "print(__import__('sys').executable, end='')")
        set(script "${WORK_DIR}/launcher")
        file(WRITE "${script}" "#!/bin/sh\nexec '${output}' -IS "
            "'${CMAKE_CURRENT_LIST_DIR}/borrow_objects.py' '${BUILT_DIR}' '${build}' \"$@\"\n")
        file(CHMOD "${script}" PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
        set(${launcher} "-DCMAKE_CXX_COMPILER_LAUNCHER=${script}" PARENT_SCOPE)
    endif()
endfunction()
