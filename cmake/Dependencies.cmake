# Finds what is installed and names it: qz::lua, qz::physfs, qz::iconv. Nothing is downloaded here.
find_package(Threads REQUIRED)

if(QZ_LUA STREQUAL "luajit" AND WIN32)
  message(FATAL_ERROR "QZ_LUA=luajit is supported on Linux only")
endif()

if(WIN32)
  find_path(QZ_LUA_INCLUDE lua.h REQUIRED)
  find_library(QZ_LUA_LIBRARY NAMES lua51 REQUIRED)
  add_library(qz::lua INTERFACE IMPORTED)
  target_include_directories(qz::lua SYSTEM INTERFACE ${QZ_LUA_INCLUDE})
  target_link_libraries(qz::lua INTERFACE ${QZ_LUA_LIBRARY})

  find_path(QZ_PHYSFS_INCLUDE physfs.h REQUIRED)
  find_library(QZ_PHYSFS_LIBRARY NAMES physfs REQUIRED)
  add_library(qz::physfs INTERFACE IMPORTED)
  target_include_directories(qz::physfs SYSTEM INTERFACE ${QZ_PHYSFS_INCLUDE})
  target_compile_definitions(qz::physfs INTERFACE PHYSFS_DECL=)
  target_link_libraries(qz::physfs INTERFACE ${QZ_PHYSFS_LIBRARY})

  find_path(QZ_ICONV_INCLUDE iconv.h REQUIRED)
  find_library(QZ_ICONV_LIBRARY NAMES iconv REQUIRED)
  add_library(qz::iconv INTERFACE IMPORTED)
  target_include_directories(qz::iconv SYSTEM INTERFACE ${QZ_ICONV_INCLUDE})
  target_link_libraries(qz::iconv INTERFACE ${QZ_ICONV_LIBRARY})
else()
  find_package(PkgConfig REQUIRED)
  if(QZ_LUA STREQUAL "luajit")
    pkg_check_modules(QZ_LUA_PC REQUIRED IMPORTED_TARGET luajit)
  else()
    pkg_check_modules(QZ_LUA_PC REQUIRED IMPORTED_TARGET lua5.1)
  endif()
  add_library(qz::lua ALIAS PkgConfig::QZ_LUA_PC)

  pkg_check_modules(QZ_PHYSFS_PC REQUIRED IMPORTED_TARGET physfs)
  add_library(qz::physfs ALIAS PkgConfig::QZ_PHYSFS_PC)

  add_library(qz_iconv INTERFACE) # part of the C library
  add_library(qz::iconv ALIAS qz_iconv)
endif()

find_package(TBB CONFIG REQUIRED COMPONENTS tbb)

# An allocator that is not instrumented hides memory errors and hand-overs from the sanitizers, so
# instrumented builds keep the pools' accounting over the C library's allocator.
if(QZ_SANITIZE)
  set(QZ_POOL_BACKEND system)
else()
  set(QZ_POOL_BACKEND tbb)
  find_package(TBB CONFIG REQUIRED COMPONENTS tbbmalloc)
endif()
