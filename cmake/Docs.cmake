# The contract as pages: cmake --build --preset release --target docs, then read doc/index.html in
# the build folder.

find_program(ETABULON_DOXYGEN doxygen)
if(NOT ETABULON_DOXYGEN)
    return()
endif()

# A page for each example, which the pages of the classes in it link.
file(GLOB examples RELATIVE "${PROJECT_SOURCE_DIR}/examples" CONFIGURE_DEPENDS
    "${PROJECT_SOURCE_DIR}/examples/*.cpp")
list(TRANSFORM examples REPLACE "(.+)" "/** @example \\1 */")
list(JOIN examples "\n" examples)
file(CONFIGURE OUTPUT "${PROJECT_BINARY_DIR}/examples.dox" CONTENT "${examples}\n" @ONLY)

set(doxyfile "${PROJECT_BINARY_DIR}/Doxyfile")
file(CONFIGURE OUTPUT "${doxyfile}" CONTENT [[
@INCLUDE         = "@PROJECT_SOURCE_DIR@/docs/Doxyfile"
PROJECT_NUMBER   = @PROJECT_VERSION@
INPUT           += "@PROJECT_BINARY_DIR@/include" "@PROJECT_BINARY_DIR@/examples.dox"
STRIP_FROM_PATH += "@PROJECT_BINARY_DIR@/include"
OUTPUT_DIRECTORY = "@PROJECT_BINARY_DIR@"
]] @ONLY)
set(ETABULON_DOXYGEN_COMMAND "${ETABULON_DOXYGEN}" "${doxyfile}")
add_custom_target(docs
    COMMAND ${ETABULON_DOXYGEN_COMMAND}
    WORKING_DIRECTORY "${PROJECT_SOURCE_DIR}"
    COMMENT "Writing the pages of the contract to ${PROJECT_BINARY_DIR}/doc"
    VERBATIM)
