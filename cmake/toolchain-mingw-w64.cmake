# Cross-builds for 64-bit Windows with Debian's GCC for mingw-w64, as hosts of the library may do.
include(${CMAKE_CURRENT_LIST_DIR}/windows-target.cmake)

# The posix variant, because only its standard library has std::thread and std::mutex.
set(CMAKE_C_COMPILER ${QZ_MINGW}-gcc-posix)
set(CMAKE_CXX_COMPILER ${QZ_MINGW}-g++-posix)
set(CMAKE_AR ${QZ_MINGW}-gcc-ar-posix)
set(CMAKE_RANLIB ${QZ_MINGW}-gcc-ranlib-posix)
