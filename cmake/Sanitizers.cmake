# Sanitizers and coverage hold for everything built here, tests included: a program that mixes
# instrumented and plain objects reports wrongly.

set(ETABULON_SANITIZE "" CACHE STRING "Sanitizers, as -fsanitize takes them: address,undefined")
option(ETABULON_COVERAGE "Record line coverage" OFF)
option(ETABULON_FUZZ "Record what libFuzzer is guided by, and link the fuzz targets with it" OFF)

set(ETABULON_INSTRUMENTATION)
if(ETABULON_SANITIZE)
    list(APPEND ETABULON_INSTRUMENTATION
        -fsanitize=${ETABULON_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
endif()
if(ETABULON_COVERAGE)
    list(APPEND ETABULON_INSTRUMENTATION --coverage)
endif()
if(ETABULON_FUZZ)
    list(APPEND ETABULON_INSTRUMENTATION -fsanitize=fuzzer-no-link)
endif()
add_compile_options(${ETABULON_INSTRUMENTATION})
add_link_options(${ETABULON_INSTRUMENTATION})
