# Finds the installed dependencies: qz::lua, qz::physfs, qz::zlib, qz::iconv. Nothing is downloaded here.
# qzCore::lua is the same Lua under its name in the installed package.
find_package(Threads REQUIRED)

if(QZ_LUA STREQUAL "luajit" AND WIN32)
  message(FATAL_ERROR "QZ_LUA=luajit is supported on Linux only")
endif()

if(WIN32)
  # The results are not cached, because QZ_WINDOWS_DEPS may name another folder next time.
  find_path(QZ_LUA_INCLUDE lua.h REQUIRED NO_CACHE)
  find_library(QZ_LUA_LIBRARY NAMES lua51 REQUIRED NO_CACHE)
  add_library(qz::lua INTERFACE IMPORTED GLOBAL)
  add_library(qzCore::lua ALIAS qz::lua)
  target_include_directories(qz::lua SYSTEM INTERFACE ${QZ_LUA_INCLUDE})
  target_link_libraries(qz::lua INTERFACE ${QZ_LUA_LIBRARY})
  set(QZ_LUA_MODULE lua5.1)

  find_path(QZ_PHYSFS_INCLUDE physfs.h REQUIRED NO_CACHE)
  find_library(QZ_PHYSFS_LIBRARY NAMES physfs REQUIRED NO_CACHE)
  add_library(qz::physfs INTERFACE IMPORTED)
  target_include_directories(qz::physfs SYSTEM INTERFACE ${QZ_PHYSFS_INCLUDE})
  target_compile_definitions(qz::physfs INTERFACE PHYSFS_DECL=)
  target_link_libraries(qz::physfs INTERFACE ${QZ_PHYSFS_LIBRARY})

  find_path(QZ_ZLIB_INCLUDE zlib.h REQUIRED NO_CACHE)
  find_library(QZ_ZLIB_LIBRARY NAMES z REQUIRED NO_CACHE)
  add_library(qz::zlib INTERFACE IMPORTED)
  target_include_directories(qz::zlib SYSTEM INTERFACE ${QZ_ZLIB_INCLUDE})
  target_link_libraries(qz::zlib INTERFACE ${QZ_ZLIB_LIBRARY})

  find_path(QZ_ICONV_INCLUDE iconv.h REQUIRED NO_CACHE)
  find_library(QZ_ICONV_LIBRARY NAMES iconv REQUIRED NO_CACHE)
  add_library(qz::iconv INTERFACE IMPORTED)
  target_include_directories(qz::iconv SYSTEM INTERFACE ${QZ_ICONV_INCLUDE})
  target_link_libraries(qz::iconv INTERFACE ${QZ_ICONV_LIBRARY})
else()
  find_package(PkgConfig REQUIRED)
  if(QZ_LUA STREQUAL "luajit")
    set(QZ_LUA_MODULE luajit)
  else()
    set(QZ_LUA_MODULE lua5.1)
  endif()
  pkg_check_modules(QZ_LUA_PC REQUIRED IMPORTED_TARGET GLOBAL ${QZ_LUA_MODULE})
  add_library(qz::lua ALIAS PkgConfig::QZ_LUA_PC)
  add_library(qzCore::lua ALIAS PkgConfig::QZ_LUA_PC)

  pkg_check_modules(QZ_PHYSFS_PC REQUIRED IMPORTED_TARGET physfs)
  add_library(qz::physfs ALIAS PkgConfig::QZ_PHYSFS_PC)

  pkg_check_modules(QZ_ZLIB_PC REQUIRED IMPORTED_TARGET zlib)
  add_library(qz::zlib ALIAS PkgConfig::QZ_ZLIB_PC)

  # libunwind also has the functions of C++ exceptions. The compiler's own runtime is linked first, so that
  # its functions are used.
  pkg_check_modules(QZ_UNWIND_PC REQUIRED IMPORTED_TARGET libunwind)
  add_library(qz_unwind INTERFACE)
  target_link_libraries(qz_unwind INTERFACE -Wl,--push-state,--no-as-needed -lgcc_s -Wl,--pop-state
                        PkgConfig::QZ_UNWIND_PC)
  add_library(qz::unwind ALIAS qz_unwind)

  # libbacktrace is part of GCC, in the folder of its own files, and is linked statically. Clang must not
  # find GCC's other headers in that folder.
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=libbacktrace.a
    OUTPUT_VARIABLE QZ_BACKTRACE_LIBRARY OUTPUT_STRIP_TRAILING_WHITESPACE)
  cmake_path(GET QZ_BACKTRACE_LIBRARY PARENT_PATH QZ_BACKTRACE_FOLDER)
  if(NOT EXISTS ${QZ_BACKTRACE_FOLDER}/include/backtrace.h)
    message(FATAL_ERROR "libbacktrace, which comes with GCC, was not found")
  endif()
  configure_file(${QZ_BACKTRACE_FOLDER}/include/backtrace.h
    ${PROJECT_BINARY_DIR}/backtrace/backtrace.h COPYONLY)
  add_library(qz_backtrace INTERFACE)
  target_include_directories(qz_backtrace SYSTEM INTERFACE ${PROJECT_BINARY_DIR}/backtrace)
  target_link_libraries(qz_backtrace INTERFACE ${QZ_BACKTRACE_LIBRARY})
  target_link_options(qz_backtrace INTERFACE -Wl,--exclude-libs,libbacktrace.a)
  add_library(qz::backtrace ALIAS qz_backtrace)

  add_library(qz_iconv INTERFACE) # part of the C library
  add_library(qz::iconv ALIAS qz_iconv)
endif()

find_package(TBB CONFIG REQUIRED COMPONENTS tbb)

# An allocator that is not instrumented hides memory errors and hand-overs from the sanitizers. Instrumented
# builds therefore use the pools' accounting over the C library's allocator. The variable selects
# src/core/memory_pool_*.cpp.
if(QZ_SANITIZE)
  set(QZ_POOL_BACKEND system)
else()
  set(QZ_POOL_BACKEND tbb)
  find_package(TBB CONFIG REQUIRED COMPONENTS tbbmalloc)
endif()
