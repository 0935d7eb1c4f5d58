# Settings that both toolchains for 64-bit Windows share: Debian's mingw-w64, and Wine to run the programs.
#
# The dependencies that no mingw package offers come from scripts/windows_deps.sh; the environment
# variable QZ_WINDOWS_DEPS names another folder of the same layout (bin, include, lib) instead.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR AMD64)

set(QZ_MINGW x86_64-w64-mingw32)
set(CMAKE_RC_COMPILER ${QZ_MINGW}-windres)

# Cached, because a configuration started by the build may lack the environment variable, and passed on to
# try_compile, whose projects read this file with their own cache.
if(DEFINED ENV{QZ_WINDOWS_DEPS})
  set(QZ_WINDOWS_DEPS "$ENV{QZ_WINDOWS_DEPS}" CACHE PATH "Dependencies built for Windows" FORCE)
else()
  cmake_path(SET _qz_built_deps NORMALIZE
             "${CMAKE_CURRENT_LIST_DIR}/../.cache/windows-deps/current")
  set(QZ_WINDOWS_DEPS "${_qz_built_deps}" CACHE PATH "Dependencies built for Windows")
endif()
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES QZ_WINDOWS_DEPS)

# Otherwise CMake would find libraries and headers of the build machine, which fail to link. What a host
# names as its prefixes is for Windows.
set(CMAKE_FIND_ROOT_PATH ${CMAKE_PREFIX_PATH} ${QZ_WINDOWS_DEPS} /usr/${QZ_MINGW})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Without Wine the tree still builds.
find_program(QZ_WINE NAMES wine wine64 wine-stable)
if(QZ_WINE)
  cmake_path(SET CMAKE_CROSSCOMPILING_EMULATOR NORMALIZE
             "${CMAKE_CURRENT_LIST_DIR}/../scripts/run_wine")
endif()
