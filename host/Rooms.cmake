# How a room of the host is built, and what it stands on that may be missing.

set(ketmon_system posix)
if(WIN32)
    set(ketmon_system windows)
endif()

# ketmon_room(NAME [BELOW]...): the library ketmon_NAME of the sources in NAME/ and of those for this system below it.
# A room includes the rooms that it names and what is below these, no other; scripts/check-rooms reads the same lines.
# Each has the library within itself: a program that is given a capability may not look for libraries beside itself.
function(ketmon_room name)
    file(GLOB sources CONFIGURE_DEPENDS ${name}/*.cpp ${name}/${ketmon_system}/*.cpp)
    add_library(ketmon_${name} STATIC ${sources})
    target_link_libraries(ketmon_${name} PUBLIC ketstats_whole PRIVATE ketstats_warnings)
    foreach(below ${ARGN})
        target_link_libraries(ketmon_${name} PUBLIC ketmon_${below})
    endforeach()
    target_link_libraries(ketmon_host INTERFACE ketmon_${name})
endfunction()

# ketmon_optional(NAME ROOM TARGET PURPOSE): KETSTATS_WITH_NAME is on if TARGET is there and nothing else was said.
# The room gets the sources in with-NAME/ and is linked with TARGET, or else gets those in without-NAME/; NAME stands
# there in lower case. `ketmon --version` tells which.
function(ketmon_optional name room target purpose)
    set(found OFF)
    if(TARGET ${target})
        set(found ON)
    endif()
    option(KETSTATS_WITH_${name} "${purpose}" ${found})
    if(KETSTATS_WITH_${name} AND NOT found)
        message(FATAL_ERROR "KETSTATS_WITH_${name} is on, and what it needs isn't there: ${purpose}")
    endif()
    string(TOLOWER ${name} lower)
    set(kind without)
    if(KETSTATS_WITH_${name})
        set(kind with)
        target_link_libraries(ketmon_${room} PRIVATE ${target})
    endif()
    file(GLOB sources CONFIGURE_DEPENDS ${room}/${kind}-${lower}/*.cpp)
    target_sources(ketmon_${room} PRIVATE ${sources})
    set_property(GLOBAL APPEND PROPERTY ketmon_${kind} ${lower})
endfunction()

# What `ketmon --version` says behind the version: " with a, b" and " without c".
function(ketmon_features result)
    set(text "")
    foreach(kind with without)
        get_property(names GLOBAL PROPERTY ketmon_${kind})
        if(names)
            list(JOIN names ", " names)
            string(APPEND text "\\n${kind} ${names}")
        endif()
    endforeach()
    set(${result} "${text}" PARENT_SCOPE)
endfunction()
