# Warnings are for our own targets: a consumer's compiler options are its own.

if(PROJECT_IS_TOP_LEVEL AND CMAKE_BUILD_TYPE STREQUAL "Debug")
    set(errors_default ON)
else()
    set(errors_default OFF)
endif()
option(ETABULON_WARNINGS_AS_ERRORS "Treat warnings as errors" ${errors_default})

function(etabulon_warnings target)
    target_compile_options(${target} PRIVATE
        -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast
        $<$<BOOL:${ETABULON_WARNINGS_AS_ERRORS}>:-Werror>)
endfunction()
