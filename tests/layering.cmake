# Keeps the folder order of src/: a folder includes only from itself and
# from the folders before it.
#
#   base; media; metadata and subtitles; creation; app; ui and cli
#
# Folders on the same step are peers and include nothing from each other.
# Every target shares the src/ include root, so the compiler and the linker
# accept a wrong-way include; this check is what refuses it. It reads every
# #include "folder/..." (and <folder/...>) under src/ and names the file, the
# line and the rule each wrong one breaks. CTest runs it as "layering"; by hand:
#
#   cmake -DSOURCE_DIR=/path/to/kinovela/src -P tests/layering.cmake

if(NOT SOURCE_DIR)
    get_filename_component(SOURCE_DIR "${CMAKE_CURRENT_LIST_DIR}/../src" ABSOLUTE)
endif()

# The step of each folder; equal steps are peers.
set(step_base 0)
set(step_media 1)
set(step_metadata 2)
set(step_subtitles 2)
set(step_creation 3)
set(step_app 4)
set(step_ui 5)
set(step_cli 5)
set(order "base; media; metadata and subtitles; creation; app; ui and cli")

file(GLOB_RECURSE sources RELATIVE "${SOURCE_DIR}" "${SOURCE_DIR}/*.h" "${SOURCE_DIR}/*.cpp")
list(SORT sources)
set(broken 0)
set(checked 0)
foreach(source IN LISTS sources)
    string(REGEX MATCH "^[^/]+" folder "${source}")
    if(NOT DEFINED step_${folder})
        message(SEND_ERROR "src/${source}: folder \"${folder}\" has no place in the order (${order}); add it to tests/layering.cmake")
        math(EXPR broken "${broken} + 1")
        continue()
    endif()
    file(READ "${SOURCE_DIR}/${source}" text)
    # Brackets, semicolons and backslashes would upset CMake's list splitting;
    # they never matter to an include line.
    string(REPLACE "\\" "/" text "${text}")
    string(REPLACE ";" "," text "${text}")
    string(REPLACE "[" "(" text "${text}")
    string(REPLACE "]" ")" text "${text}")
    string(REPLACE "\n" ";" lines "${text}")
    set(number 0)
    foreach(line IN LISTS lines)
        math(EXPR number "${number} + 1")
        if(NOT line MATCHES "^[ \t]*#[ \t]*include[ \t]*[\"<]([^\">]*)[\">]")
            continue()
        endif()
        set(included "${CMAKE_MATCH_1}")
        math(EXPR checked "${checked} + 1")
        if(included MATCHES "(^|/)\\.\\./")
            message(SEND_ERROR "src/${source}:${number}: includes \"${included}\" by a relative path; "
                               "name it from the src/ root (\"folder/File.h\") so the folder order can be checked")
            math(EXPR broken "${broken} + 1")
            continue()
        endif()
        if(NOT included MATCHES "^([^/]+)/")
            continue()
        endif()
        set(target "${CMAKE_MATCH_1}")
        if(target STREQUAL folder OR NOT DEFINED step_${target})
            continue()
        endif()
        if(step_${target} GREATER step_${folder})
            message(SEND_ERROR "src/${source}:${number}: ${folder}/ includes \"${included}\", but ${target}/ comes after "
                               "${folder}/ (a folder includes only from itself and the folders before it: ${order})")
            math(EXPR broken "${broken} + 1")
        elseif(step_${target} EQUAL step_${folder})
            message(SEND_ERROR "src/${source}:${number}: ${folder}/ includes \"${included}\", but ${folder}/ and "
                               "${target}/ are peers and neither includes the other (${order})")
            math(EXPR broken "${broken} + 1")
        endif()
    endforeach()
endforeach()

list(LENGTH sources files)
if(broken GREATER 0)
    message(FATAL_ERROR "${broken} include(s) break the folder order")
endif()
message(STATUS "folder order kept: ${checked} includes in ${files} files")
