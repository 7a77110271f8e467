# What ketstats.dll has on Windows beside its sources.

# Its resources. A target of their own keeps the options of the C++ compiler away from their compiler, which also
# doesn't tell what a script includes.
add_library(ketstats_resources OBJECT ${CMAKE_CURRENT_LIST_DIR}/Resources.rc)
target_include_directories(ketstats_resources PRIVATE ${PROJECT_SOURCE_DIR})
target_compile_definitions(ketstats_resources PRIVATE
    VERSION_MAJOR=${PROJECT_VERSION_MAJOR} VERSION_MINOR=${PROJECT_VERSION_MINOR} VERSION_PATCH=${PROJECT_VERSION_PATCH})
set_source_files_properties(${CMAKE_CURRENT_LIST_DIR}/Resources.rc PROPERTIES
    OBJECT_DEPENDS ${PROJECT_SOURCE_DIR}/ketstats/platform/Strings.def)
target_sources(ketstats PRIVATE $<TARGET_OBJECTS:ketstats_resources>)

# The capture library is bound at the first call of one of its functions. Data can't be had from it that way, and
# the linker says so.
target_link_options(ketstats PRIVATE LINKER:--delayload=$<TARGET_FILE_NAME:kndislib>)
target_link_libraries(ketstats PRIVATE delayimp iphlpapi)

# No "lib" in front, as in the names by which the libraries are loaded.
set_target_properties(kndislib ketstats PROPERTIES PREFIX "")
