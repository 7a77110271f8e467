# What makes a fault in memory hard to use for whoever reads it out of us: canaries on the stack, sizes checked by the C
# library, tables of the linker that can't be written, addresses that nobody knows, jumps that only go where code
# expects them. In builds that optimise: the others are for finding such faults, and sanitizers have checks of their
# own. On Windows the linker's own defaults are all that its compiler has.
include(CheckCXXCompilerFlag)
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)

if(KETSTATS_HARDENING AND NOT WIN32 AND NOT KETSTATS_SANITIZE)
    set(released $<NOT:$<CONFIG:Debug>>)
    foreach(flag stack-protector-strong stack-clash-protection cf-protection)
        string(TOUPPER KETSTATS_HAS_${flag} has)
        string(REPLACE - _ has ${has})
        check_cxx_compiler_flag(-f${flag} ${has})
        if(${has})
            add_compile_options($<${released}:-f${flag}>)
        endif()
    endforeach()
    # Some compilers define it themselves, to less.
    add_compile_options($<${released}:-U_FORTIFY_SOURCE> $<${released}:-D_FORTIFY_SOURCE=3>)
    if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
        add_link_options(LINKER:-z,relro $<${released}:LINKER:-z,now>)
    endif()
endif()
