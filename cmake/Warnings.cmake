# The warnings that the whole tree is kept clear of; errors with KETSTATS_WERROR.
add_library(ketstats_warnings INTERFACE)
target_compile_options(ketstats_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
# g++ 12, when it optimises, takes "(" + text + ")" of std::string for copies that overlap by half the address space.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    target_compile_options(ketstats_warnings INTERFACE -Wno-restrict)
endif()
if(KETSTATS_WERROR)
    target_compile_options(ketstats_warnings INTERFACE -Werror)
endif()
