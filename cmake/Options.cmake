# Options that need other packages.

# Declares an option that needs `packages`, a list of find_package() arguments. AUTO means on where
# `wanted` is on and they are all found, at each configuration again. Where the option is on, a
# package that is missing is an error.
macro(etabulon_option name text wanted packages)
    set(${name} AUTO CACHE STRING "${text}: ON, OFF, or AUTO where what it needs is found")
    set_property(CACHE ${name} PROPERTY STRINGS AUTO ON OFF)
    if("${${name}}" STREQUAL "AUTO")
        set(all_found ${wanted})
        foreach(package IN ITEMS ${packages})
            separate_arguments(package)
            list(GET package 0 package_name)
            if(all_found)
                find_package(${package} QUIET)
                set(all_found ${${package_name}_FOUND})
            endif()
        endforeach()
        # Hides the cache's AUTO from here on.
        if(all_found)
            set(${name} ON)
        else()
            set(${name} OFF)
        endif()
    endif()
    message(STATUS "${text}: ${${name}}")
    if(${name})
        foreach(package IN ITEMS ${packages})
            separate_arguments(package)
            find_package(${package} REQUIRED)
        endforeach()
    endif()
endmacro()

function(etabulon_needs option reason)
    if(NOT ${option})
        message(FATAL_ERROR "${option} is off, but ${reason}.")
    endif()
endfunction()
