# Finds utf8proc, which comes with a pkg-config file only.
# Defines Utf8Proc_FOUND and the target Utf8Proc::Utf8Proc.

find_path(Utf8Proc_INCLUDE_DIR utf8proc.h)
find_library(Utf8Proc_LIBRARY utf8proc)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Utf8Proc REQUIRED_VARS Utf8Proc_LIBRARY Utf8Proc_INCLUDE_DIR)
mark_as_advanced(Utf8Proc_INCLUDE_DIR Utf8Proc_LIBRARY)

if(Utf8Proc_FOUND AND NOT TARGET Utf8Proc::Utf8Proc)
    add_library(Utf8Proc::Utf8Proc UNKNOWN IMPORTED)
    set_target_properties(Utf8Proc::Utf8Proc PROPERTIES
        IMPORTED_LOCATION "${Utf8Proc_LIBRARY}"
        INTERFACE_INCLUDE_DIRECTORIES "${Utf8Proc_INCLUDE_DIR}")
endif()
