# What the host has on Windows beside its sources. The packages that it stands on are used as headers alone, those
# of the machine that builds; only they are taken from there, and not what its own system has beside them.

set(KETSTATS_HEADERS /usr/include CACHE PATH "Where the headers of CLI11, fmt, nlohmann-json and Boost lie")

set(headers ${CMAKE_CURRENT_BINARY_DIR}/headers)
file(MAKE_DIRECTORY ${headers})
foreach(header CLI fmt nlohmann boost)
    if(NOT EXISTS ${KETSTATS_HEADERS}/${header})
        message(FATAL_ERROR "${KETSTATS_HEADERS}/${header} is missing; see KETSTATS_HEADERS")
    endif()
    file(CREATE_LINK ${KETSTATS_HEADERS}/${header} ${headers}/${header} SYMBOLIC)
endforeach()

target_include_directories(ketmon_support SYSTEM PUBLIC ${headers})
target_compile_definitions(ketmon_support PUBLIC FMT_HEADER_ONLY)
target_link_libraries(ketmon_wire PUBLIC ws2_32 mswsock)
ketstats_install_terms(libcli11-dev libfmt-dev nlohmann-json3-dev libboost1.74-dev)
