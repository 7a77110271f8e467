# The warnings that the whole tree is kept clear of; errors with KETSTATS_WERROR.
add_library(ketstats_warnings INTERFACE)
target_compile_options(ketstats_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
if(KETSTATS_WERROR)
    target_compile_options(ketstats_warnings INTERFACE -Werror)
endif()
