# Test programs of their own, beside the tests, which run them.

add_library(late-binding-probe SHARED platform/windows/programs/Probe.cpp)
set_target_properties(late-binding-probe PROPERTIES PREFIX "")
target_link_libraries(late-binding-probe PRIVATE ketstats ketstats_warnings)
add_executable(late-binding platform/windows/programs/LateBinding.cpp)
target_link_libraries(late-binding PRIVATE ketstats_warnings)
add_dependencies(ketstats-tests late-binding late-binding-probe)

# Strings to fetch from another table, and a part of the library that it doesn't export.
add_library(ketstats_test_resources OBJECT platform/windows/Strings.rc)
target_sources(ketstats-tests PRIVATE
    $<TARGET_OBJECTS:ketstats_test_resources> ${PROJECT_SOURCE_DIR}/ketstats/platform/windows/Locale.cpp)
