# The layer check refuses an include that reaches up, and a folder it does not
# know, and lets the real tree and a clean tree through.
# Usage: cmake -DCHECK=<CheckLayers.cmake> -DSOURCE_DIR=<src> -DWORK=<scratch> -P CheckLayersTest.cmake

function(run_check dir expect_ok what)
    execute_process(COMMAND ${CMAKE_COMMAND} -DSOURCE_DIR=${dir} -P ${CHECK}
        RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
    if(expect_ok AND NOT rc EQUAL 0)
        message(FATAL_ERROR "${what}: refused\n${err}")
    elseif(NOT expect_ok AND rc EQUAL 0)
        message(FATAL_ERROR "${what}: let through")
    endif()
    set(last_error "${err}" PARENT_SCOPE)
endfunction()

run_check(${SOURCE_DIR} TRUE "the source tree")

file(REMOVE_RECURSE ${WORK})
file(WRITE ${WORK}/net/Api.cpp "#include \"model/Models.h\"\n#include \"core/Prefs.h\"\n")
file(WRITE ${WORK}/ui/View.cpp "  #  include \"store/Store.h\"\n#include <QString>\n")
file(WRITE ${WORK}/store/Store.cpp "#include \"conversations/Chats.h\"\n")
run_check(${WORK} TRUE "includes that point down or sideways")

file(WRITE ${WORK}/net/Pinning.cpp "// a comment\n#include \"ui/AppModel.h\"\n")
run_check(${WORK} FALSE "net including ui")
if(NOT last_error MATCHES "net/Pinning.cpp includes ui/AppModel.h")
    message(FATAL_ERROR "the refusal does not name the file and header:\n${last_error}")
endif()
file(REMOVE ${WORK}/net/Pinning.cpp)

file(WRITE ${WORK}/model/Json.h "#pragma once\n#include \"core/Localisation.h\"\n")
run_check(${WORK} FALSE "model including core")
file(REMOVE ${WORK}/model/Json.h)

file(WRITE ${WORK}/fleet/Probe.cpp "#include \"store/Store.h\"\n")
run_check(${WORK} FALSE "a folder with no layer")
