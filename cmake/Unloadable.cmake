# A module that may be unloaded again. g++ marks the variables of templates and inline functions as unique in the
# process, and the dynamic linker keeps every library that has one loaded for good: its destructors would not run
# before the process ends, and a host that is itself a plug-in could never be replaced. Compilers without the
# option have no such mark.
include(CheckCXXCompilerFlag)
check_cxx_compiler_flag(-fno-gnu-unique KETSTATS_HAS_NO_GNU_UNIQUE)

function(ketstats_unloadable name)
    if(KETSTATS_HAS_NO_GNU_UNIQUE)
        target_compile_options(${name} PRIVATE -fno-gnu-unique)
    endif()
endfunction()
