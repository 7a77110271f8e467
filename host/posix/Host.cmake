# What the host has here beside its sources: the packages that it stands on, its manual and its completion.

find_package(CLI11 REQUIRED)
find_package(fmt REQUIRED)
find_package(nlohmann_json REQUIRED)
find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(PCAP REQUIRED IMPORTED_TARGET libpcap)
find_path(ASIO_INCLUDE_DIR asio.hpp REQUIRED)

target_link_libraries(ketmon_host PUBLIC
    CLI11::CLI11 fmt::fmt nlohmann_json::nlohmann_json Threads::Threads PkgConfig::PCAP)
target_include_directories(ketmon_host SYSTEM PRIVATE ${ASIO_INCLUDE_DIR})

configure_file(ketmon.1.in ketmon.1 @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/ketmon.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES ketmon.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME ketmon)

# Host names come from the DNS where c-ares is there to ask it.
pkg_check_modules(CARES IMPORTED_TARGET libcares)
option(KETSTATS_DNS "Let ketmon ask for host names, with c-ares" ${CARES_FOUND})
if(KETSTATS_DNS)
    target_sources(ketmon_host PRIVATE render/cares/HostNames.cpp)
    target_link_libraries(ketmon_host PRIVATE PkgConfig::CARES)
else()
    target_sources(ketmon_host PRIVATE render/nodns/HostNames.cpp)
endif()
