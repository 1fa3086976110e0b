# Fails when a source folder includes a header from a higher layer.
# Usage: cmake -DSOURCE_DIR=<src> -P CheckLayers.cmake
#
# Layers, lowest first; folders within one layer may include each other.
# The store's topic folders share its layer while their operations are
# members of Store. A new subsystem, an object with its own state, gets a
# layer of its own between the store's and "ui"; a folder without a layer
# fails the check, so none is forgotten.
set(VELMARIN_LAYERS
    "model"
    "core"
    "net"
    "store,conversations,agent,federation"
    "voice,audio"
    "ui"
    "shell")

if(NOT SOURCE_DIR)
    message(FATAL_ERROR "CheckLayers: SOURCE_DIR is not set")
endif()

get_filename_component(SOURCE_DIR "${SOURCE_DIR}" ABSOLUTE)

set(rank 0)
foreach(layer ${VELMARIN_LAYERS})
    string(REPLACE "," ";" folders "${layer}")
    foreach(folder ${folders})
        set(rank_of_${folder} ${rank})
    endforeach()
    math(EXPR rank "${rank} + 1")
endforeach()

file(GLOB_RECURSE files RELATIVE ${SOURCE_DIR} ${SOURCE_DIR}/*.h ${SOURCE_DIR}/*.cpp)
set(violations "")
foreach(file ${files})
    string(REGEX MATCH "^[^/]+" folder "${file}")
    if(NOT DEFINED rank_of_${folder})
        string(APPEND violations "\n  ${file}: folder '${folder}' has no layer")
        continue()
    endif()
    file(STRINGS ${SOURCE_DIR}/${file} includes REGEX "^[ \t]*#[ \t]*include[ \t]*\"[a-z]+/")
    foreach(line ${includes})
        string(REGEX REPLACE "^[ \t]*#[ \t]*include[ \t]*\"([a-z]+)/([^\"]*)\".*" "\\1;\\2" parts "${line}")
        list(GET parts 0 target)
        list(GET parts 1 header)
        if(DEFINED rank_of_${target} AND rank_of_${target} GREATER rank_of_${folder})
            string(APPEND violations "\n  ${file} includes ${target}/${header} from a higher layer")
        endif()
    endforeach()
endforeach()

if(violations)
    message(FATAL_ERROR "Layering broken:${violations}")
endif()
