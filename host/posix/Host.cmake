# What the host has here beside its sources: the packages that it stands on, its manual and its completion.

find_package(CLI11 REQUIRED)
find_package(fmt REQUIRED)
find_package(nlohmann_json REQUIRED)
find_package(Boost 1.74 REQUIRED) # headers alone: Asio
find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(PCAP REQUIRED IMPORTED_TARGET libpcap)
pkg_check_modules(CAPNG IMPORTED_TARGET libcap-ng)
pkg_check_modules(CARES IMPORTED_TARGET libcares)
pkg_check_modules(SECCOMP IMPORTED_TARGET libseccomp)
pkg_check_modules(ZLIB IMPORTED_TARGET zlib)

target_link_libraries(ketmon_support PUBLIC CLI11::CLI11 fmt::fmt nlohmann_json::nlohmann_json Threads::Threads)
target_link_libraries(ketmon_capture PUBLIC PkgConfig::PCAP)
target_link_libraries(ketmon_wire PUBLIC Boost::headers)

configure_file(ketmon.1.in ketmon.1 @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/ketmon.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES ketmon.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME ketmon)

# Where the manager of services and that of users look below any prefix; not where libraries lie.
configure_file(${PROJECT_SOURCE_DIR}/packaging/systemd/ketmon-agent@.service.in ketmon-agent@.service @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/ketmon-agent@.service DESTINATION lib/systemd/system)
install(FILES ${PROJECT_SOURCE_DIR}/packaging/systemd/ketmon.sysusers DESTINATION lib/sysusers.d RENAME ketmon.conf)
