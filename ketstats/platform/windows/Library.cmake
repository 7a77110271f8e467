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

# ketstats_install_terms(PACKAGE...): installs the terms of what others made, as Debian's packages tell them.
function(ketstats_install_terms)
    foreach(package ${ARGN})
        file(REAL_PATH /usr/share/doc/${package}/copyright terms)
        install(FILES ${terms} DESTINATION ${CMAKE_INSTALL_DOCDIR}/licenses RENAME ${package}.txt)
    endforeach()
endfunction()

# The compiler's runtime goes with the libraries: exceptions cross from module to module, which takes one and the
# same for all of them.
foreach(runtime libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${runtime}
        OUTPUT_VARIABLE runtime_file OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    if(NOT IS_ABSOLUTE "${runtime_file}")
        message(FATAL_ERROR "the compiler has no ${runtime}")
    endif()
    file(REAL_PATH ${runtime_file} runtime_file)
    install(FILES ${runtime_file} DESTINATION ${CMAKE_INSTALL_BINDIR})
endforeach()
ketstats_install_terms(gcc-mingw-w64-x86-64-posix-runtime mingw-w64-x86-64-dev)

# What CPack makes of an installation: one archive with everything.
set(CPACK_GENERATOR ZIP)
set(CPACK_PACKAGE_NAME ketstats)
set(CPACK_PACKAGE_FILE_NAME ketstats-${PROJECT_VERSION}-windows-x86_64)
set(CPACK_RESOURCE_FILE_README ${PROJECT_SOURCE_DIR}/README.md)
set(CPACK_VERBATIM_VARIABLES ON)
include(CPack)
