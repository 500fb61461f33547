# A library of the package: its files, what it links and how it is installed.

# What holds for every target of ours, whatever surrounds the project.
function(etabulon_target_defaults target)
    set_target_properties(${target} PROPERTIES
        CXX_EXTENSIONS OFF
        CXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON
        POSITION_INDEPENDENT_CODE ON)
    target_compile_features(${target} PRIVATE cxx_std_20)
    etabulon_warnings(${target})
endfunction()

# Declares `target`, exported as etabulon::<EXPORT_NAME>, from FOLDER: include/**/*.h and src/**/*.cpp.
# COMPONENT is what find_package() calls it. An INLINE_HEADERS file is the second half of another
# header and can't be compiled by itself.
function(etabulon_library target)
    cmake_parse_arguments(PARSE_ARGV 1 library ""
        "EXPORT_NAME;COMPONENT;FOLDER;DESCRIPTION" "INLINE_HEADERS")
    file(GLOB_RECURSE headers CONFIGURE_DEPENDS "${library_FOLDER}/include/*.h")
    file(GLOB_RECURSE sources CONFIGURE_DEPENDS "${library_FOLDER}/src/*.cpp")
    list(REMOVE_ITEM headers ${library_INLINE_HEADERS})

    add_library(${target} ${sources})
    add_library(etabulon::${library_EXPORT_NAME} ALIAS ${target})
    target_sources(${target} PUBLIC FILE_SET HEADERS
        BASE_DIRS "${library_FOLDER}/include" FILES ${headers})
    if(library_INLINE_HEADERS)
        target_sources(${target} PUBLIC FILE_SET inline_headers TYPE HEADERS
            BASE_DIRS "${library_FOLDER}/include" FILES ${library_INLINE_HEADERS})
    endif()
    target_include_directories(${target} PRIVATE "${library_FOLDER}/src")
    target_compile_features(${target} PUBLIC cxx_std_20)
    etabulon_target_defaults(${target})
    # Installed libraries find each other wherever their folder is moved. Nothing is defined while
    # a shared library is compiled, so that its objects are those of a static one.
    set_target_properties(${target} PROPERTIES
        EXPORT_NAME ${library_EXPORT_NAME}
        VERSION ${PROJECT_VERSION}
        SOVERSION ${ETABULON_SOVERSION}
        DEFINE_SYMBOL ""
        INSTALL_RPATH "$ORIGIN"
        INTERFACE_HEADER_SETS_TO_VERIFY HEADERS
        ETABULON_COMPONENT ${library_COMPONENT}
        ETABULON_DESCRIPTION "${library_DESCRIPTION}")
    set_property(GLOBAL APPEND PROPERTY ETABULON_LIBRARIES ${target})
endfunction()

# Declares the adapter `name` from the folder it is called in, as etabulon::<name>.
#   ADAPTERS   other adapters that it stands on, which its users see too
#   LIBRARIES  imported targets that it links privately
#   PACKAGES   the same as pkg-config knows them
#   FLAGS      what pkg-config doesn't know, as linker flags
function(etabulon_adapter name)
    cmake_parse_arguments(PARSE_ARGV 1 adapter "" "DESCRIPTION"
        "ADAPTERS;LIBRARIES;PACKAGES;FLAGS")
    set(target "etabulon-${name}")
    etabulon_library(${target} EXPORT_NAME ${name} COMPONENT ${name}
        FOLDER "${CMAKE_CURRENT_SOURCE_DIR}" DESCRIPTION "${adapter_DESCRIPTION}")
    target_link_libraries(${target} PUBLIC etabulon::etabulon)
    foreach(other IN LISTS adapter_ADAPTERS)
        target_link_libraries(${target} PUBLIC etabulon::${other})
    endforeach()
    target_link_libraries(${target} PRIVATE ${adapter_LIBRARIES})
    set_target_properties(${target} PROPERTIES
        ETABULON_REQUIRES "etabulon;${adapter_ADAPTERS}"
        ETABULON_PACKAGES "${adapter_PACKAGES}"
        ETABULON_FLAGS "${adapter_FLAGS}")
    set_property(GLOBAL APPEND PROPERTY ETABULON_ADAPTERS ${name})
endfunction()
