# Builds for Windows x86-64 on Debian: mingw-w64 with its POSIX threads, LLVM's linker, and Wine to run what was
# built. scripts/bootstrap windows installs them.

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(KETSTATS_WINDOWS_TARGET x86_64-w64-mingw32)
set(CMAKE_CXX_COMPILER ${KETSTATS_WINDOWS_TARGET}-g++-posix)
set(CMAKE_RC_COMPILER ${KETSTATS_WINDOWS_TARGET}-windres)
set(CMAKE_C_COMPILER ${KETSTATS_WINDOWS_TARGET}-gcc-posix)

# See there. The linker has no use for the plug-in that the compiler would hand to its own.
set(linker "-B${CMAKE_CURRENT_LIST_DIR}/windows-linker -fno-use-linker-plugin")
set(CMAKE_EXE_LINKER_FLAGS_INIT ${linker})
set(CMAKE_SHARED_LINKER_FLAGS_INIT ${linker})
set(CMAKE_MODULE_LINKER_FLAGS_INIT ${linker})

set(CMAKE_FIND_ROOT_PATH /usr/${KETSTATS_WINDOWS_TARGET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
# Packages are found where CMAKE_PREFIX_PATH says, too.
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)

set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../scripts/wine)
