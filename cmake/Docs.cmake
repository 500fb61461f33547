# The contract as pages: cmake --build --preset release --target docs, then read doc/index.html in
# the build folder.

find_program(ETABULON_DOXYGEN doxygen)
if(NOT ETABULON_DOXYGEN)
    return()
endif()

set(doxyfile "${PROJECT_BINARY_DIR}/Doxyfile")
file(CONFIGURE OUTPUT "${doxyfile}" CONTENT [[
@INCLUDE         = "@PROJECT_SOURCE_DIR@/docs/Doxyfile"
PROJECT_NUMBER   = @PROJECT_VERSION@
INPUT           += "@PROJECT_BINARY_DIR@/include"
STRIP_FROM_PATH += "@PROJECT_BINARY_DIR@/include"
OUTPUT_DIRECTORY = "@PROJECT_BINARY_DIR@"
]] @ONLY)
set(ETABULON_DOXYGEN_COMMAND "${ETABULON_DOXYGEN}" "${doxyfile}")
add_custom_target(docs
    COMMAND ${ETABULON_DOXYGEN_COMMAND}
    WORKING_DIRECTORY "${PROJECT_SOURCE_DIR}"
    COMMENT "Writing the pages of the contract to ${PROJECT_BINARY_DIR}/doc"
    VERBATIM)
