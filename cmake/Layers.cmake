# One static library per layer, and include paths that show a layer its own folder and the folders it uses.
#
# Headers are included as "folder/name.h". So that this does not open the whole source tree, every folder
# gets an include root of its own in the build tree that holds one link to it.

add_library(roamer_options INTERFACE)
target_compile_options(roamer_options INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Werror)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # GCC 12 warns of overlapping copies inside std::string's operator+ when it optimises.
    target_compile_options(roamer_options INTERFACE -Wno-restrict)
endif()

# Makes the folder SOURCE_DIR visible as "NAME/..." to targets that link TARGET.
function(roamer_show_folder target scope name source_dir)
    set(root "${CMAKE_BINARY_DIR}/include-roots/${name}")
    file(MAKE_DIRECTORY "${root}")
    if(NOT EXISTS "${root}/${name}")
        file(CREATE_LINK "${source_dir}" "${root}/${name}" SYMBOLIC)
    endif()
    target_include_directories(${target} ${scope} "${root}")
endfunction()

# roamer_layer(NAME [HEADERS] [USES layer...]): the layer in the folder NAME. Every .cpp of the folder belongs to
# it but main.cpp. HEADERS says that the layer has no sources of its own.
function(roamer_layer name)
    cmake_parse_arguments(LAYER "HEADERS" "" "USES" ${ARGN})
    set(target roamer_${name})
    file(GLOB sources CONFIGURE_DEPENDS "${CMAKE_SOURCE_DIR}/${name}/*.cpp")
    list(FILTER sources EXCLUDE REGEX "/main\\.cpp$")
    if(LAYER_HEADERS OR NOT sources)
        add_library(${target} INTERFACE)
        set(scope INTERFACE)
    else()
        add_library(${target} STATIC ${sources})
        target_link_libraries(${target} PRIVATE roamer_options)
        set(scope PUBLIC)
    endif()
    roamer_show_folder(${target} ${scope} ${name} "${CMAKE_SOURCE_DIR}/${name}")
    foreach(used ${LAYER_USES})
        target_link_libraries(${target} ${scope} roamer_${used})
    endforeach()
endfunction()
