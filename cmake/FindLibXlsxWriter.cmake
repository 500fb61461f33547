# Finds libxlsxwriter, which comes with a pkg-config file only.
# Defines LibXlsxWriter_FOUND and the target LibXlsxWriter::LibXlsxWriter.

find_path(LibXlsxWriter_INCLUDE_DIR xlsxwriter.h)
find_library(LibXlsxWriter_LIBRARY xlsxwriter)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(LibXlsxWriter
    REQUIRED_VARS LibXlsxWriter_LIBRARY LibXlsxWriter_INCLUDE_DIR)
mark_as_advanced(LibXlsxWriter_INCLUDE_DIR LibXlsxWriter_LIBRARY)

if(LibXlsxWriter_FOUND AND NOT TARGET LibXlsxWriter::LibXlsxWriter)
    add_library(LibXlsxWriter::LibXlsxWriter UNKNOWN IMPORTED)
    set_target_properties(LibXlsxWriter::LibXlsxWriter PROPERTIES
        IMPORTED_LOCATION "${LibXlsxWriter_LIBRARY}"
        INTERFACE_INCLUDE_DIRECTORIES "${LibXlsxWriter_INCLUDE_DIR}")
endif()
