# The package as it was built: a consumer finds it where it was moved to, and asks for components.
cmake_minimum_required(VERSION 3.25)
include("${CMAKE_CURRENT_LIST_DIR}/functions.cmake")

start()
install_and_move("${BUILT_DIR}")
run_consumer("${WORK_DIR}/moved")

# --- Components ------------------------------------------------------------------------------

set(ask "${CMAKE_COMMAND}" -S "${CMAKE_CURRENT_LIST_DIR}/components" -B "${WORK_DIR}/components"
    ${same_build} "-DCMAKE_PREFIX_PATH=${WORK_DIR}/moved" "-DCMAKE_DISABLE_FIND_PACKAGE_SQLite3=ON")
run(${ask} "-DASKED=COMPONENTS\\;core" -DLACKS=etabulon::sqlite)
run(${ask} "-DASKED=" -DLACKS=etabulon::sqlite)
run(${ask} "-DASKED=OPTIONAL_COMPONENTS\\;sqlite\\;testing" -DLACKS=etabulon::sqlite)
run_fails("there is no component 'nonsense' (there are core, sql, csv, jsonl, sqlite, icu, report, testing)"
    ${ask} "-DASKED=COMPONENTS\\;nonsense")
if("sqlite" IN_LIST ADAPTERS)
    set(lack "component 'sqlite' needs SQLite3, which isn't found (on Debian: libsqlite3-dev,")
else()
    set(lack "this copy was built without component 'sqlite'")
endif()
run_fails("${lack}" ${ask} "-DASKED=COMPONENTS\\;core\\;sqlite")
