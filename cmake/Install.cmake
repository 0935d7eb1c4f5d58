# Install rules, for find_package(qzCore CONFIG) and pkg-config qzcore. Components: runtime,
# development, tools, docs.
include(CMakePackageConfigHelpers)

# In a larger project the folder of documents is by default that project's. Another choice stays.
if(NOT PROJECT_IS_TOP_LEVEL AND
   CMAKE_INSTALL_DOCDIR STREQUAL "${CMAKE_INSTALL_DATAROOTDIR}/doc/${CMAKE_PROJECT_NAME}")
  set(CMAKE_INSTALL_DOCDIR ${CMAKE_INSTALL_DATAROOTDIR}/doc/${PROJECT_NAME})
endif()

install(TARGETS qzCore EXPORT qzCoreTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
install(DIRECTORY inc/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qzCore COMPONENT development
  FILES_MATCHING PATTERN "*.h")

# The pages, with links that fit the installed tree.
cmake_path(ABSOLUTE_PATH CMAKE_INSTALL_DOCDIR BASE_DIRECTORY /x OUTPUT_VARIABLE QZ_PAGES_AT)
cmake_path(ABSOLUTE_PATH CMAKE_INSTALL_INCLUDEDIR BASE_DIRECTORY /x OUTPUT_VARIABLE QZ_HEADERS_AT)
set(QZ_PAGES ${PROJECT_BINARY_DIR}/installed_docs)
install(CODE "set(SOURCE [[${PROJECT_SOURCE_DIR}]])
  set(TO [[${QZ_PAGES}]])
  set(PAGES_AT [[${QZ_PAGES_AT}]])
  set(HEADERS_AT [[${QZ_HEADERS_AT}/qzCore]])
  include([[${PROJECT_SOURCE_DIR}/cmake/InstalledDocs.cmake]])" COMPONENT docs)
install(DIRECTORY ${QZ_PAGES}/ DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT docs)
install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT docs)
install(DIRECTORY docs examples DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT docs
  PATTERN "*.md" EXCLUDE PATTERN "Doxyfile" EXCLUDE PATTERN "exports" EXCLUDE PATTERN "*.awk" EXCLUDE PATTERN "*.py" EXCLUDE)
install(DIRECTORY examples/python DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples COMPONENT docs)

if(TARGET qz)
  # The tool finds the library wherever the package is unpacked.
  if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}" OR IS_ABSOLUTE "${CMAKE_INSTALL_BINDIR}")
    set(QZ_TOOL_RPATH ${CMAKE_INSTALL_FULL_LIBDIR})
  else()
    file(RELATIVE_PATH QZ_TOOL_RPATH /x/${CMAKE_INSTALL_BINDIR} /x/${CMAKE_INSTALL_LIBDIR})
    string(PREPEND QZ_TOOL_RPATH "$ORIGIN/")
  endif()
  if(NOT WIN32)
    set_target_properties(qz PROPERTIES INSTALL_RPATH "${QZ_TOOL_RPATH}")
  endif()
  install(TARGETS qz RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
  install(FILES tools/qz/qz.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
  install(FILES tools/qz/qz.bash-completion RENAME qz COMPONENT tools
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
endif()

if(NOT WIN32)
  # gdb looks for a library's script in its auto-load folder, under the library's final path. A package is
  # staged in another folder, so its final prefix is taken to be /usr.
  set(QZ_GDB_NAME libqzCore.so.${PROJECT_VERSION}-gdb.py)
  install(CODE "set(folder [[${CMAKE_INSTALL_LIBDIR}]])
    set(prefix \"\${CMAKE_INSTALL_PREFIX}\")
    if(prefix MATCHES [[/_CPack_Packages/]])
      set(prefix /usr)
    endif()
    cmake_path(ABSOLUTE_PATH folder BASE_DIRECTORY \"\${prefix}\")
    cmake_path(ABSOLUTE_PATH folder BASE_DIRECTORY / NORMALIZE)
    set(to [[${CMAKE_INSTALL_DATADIR}]])
    cmake_path(ABSOLUTE_PATH to BASE_DIRECTORY \"\${CMAKE_INSTALL_PREFIX}\")
    file(INSTALL DESTINATION \"\${to}/gdb/auto-load\${folder}\" TYPE FILE RENAME ${QZ_GDB_NAME}
      FILES [[${PROJECT_SOURCE_DIR}/tools/gdb/qzcore.py]])" COMPONENT development)
endif()

set(QZ_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/qzCore)
install(EXPORT qzCoreTargets NAMESPACE qzCore:: DESTINATION ${QZ_CMAKE_DIR} COMPONENT development)
configure_package_config_file(cmake/qzCoreConfig.cmake.in ${PROJECT_BINARY_DIR}/qzCoreConfig.cmake
  INSTALL_DESTINATION ${QZ_CMAKE_DIR})
# Until 1.0 a minor version may change the interface.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/qzCoreConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/qzCoreConfig.cmake
              ${PROJECT_BINARY_DIR}/qzCoreConfigVersion.cmake
  DESTINATION ${QZ_CMAKE_DIR} COMPONENT development)

# The prefix is relative to the file, so that the package may be moved, unless the folders are absolute.
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}" OR IS_ABSOLUTE "${CMAKE_INSTALL_INCLUDEDIR}")
  set(QZ_PC_PREFIX ${CMAKE_INSTALL_PREFIX})
  set(QZ_PC_LIBDIR ${CMAKE_INSTALL_FULL_LIBDIR})
  set(QZ_PC_INCLUDEDIR ${CMAKE_INSTALL_FULL_INCLUDEDIR})
else()
  file(RELATIVE_PATH QZ_PC_PREFIX /x/${CMAKE_INSTALL_LIBDIR}/pkgconfig /x)
  string(PREPEND QZ_PC_PREFIX "\${pcfiledir}/")
  set(QZ_PC_LIBDIR "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
  set(QZ_PC_INCLUDEDIR "\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}")
endif()
configure_file(cmake/qzcore.pc.in ${PROJECT_BINARY_DIR}/qzcore.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qzcore.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT development)

if(WIN32)
  if(QZ_MS_LIBRARY)
    install(FILES ${QZ_MS_LIBRARY} DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
  endif()
  # For hosts that call Lua themselves.
  foreach(header IN ITEMS lua.h luaconf.h lualib.h lauxlib.h lua.hpp)
    install(FILES ${QZ_LUA_INCLUDE}/${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/lua5.1
      COMPONENT development)
  endforeach()
  install(FILES ${QZ_LUA_LIBRARY} DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
  configure_file(cmake/lua.pc.in ${PROJECT_BINARY_DIR}/lua5.1.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/lua5.1.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    foreach(target IN ITEMS qzCore qz)
      if(TARGET ${target})
        install(FILES $<PATH:REPLACE_EXTENSION,LAST_ONLY,$<TARGET_FILE:${target}>,pdb>
          DESTINATION symbols COMPONENT symbols)
      endif()
    endforeach()
    install(DIRECTORY ${QZ_WINDOWS_DEPS}/symbols/ DESTINATION symbols COMPONENT symbols)
  endif()
  # The DLL needs the DLLs that it loads: Lua, the allocator, iconv and the C++ runtime. The set-up has
  # put them into one folder.
  file(GLOB QZ_RUNTIME_DLLS ${QZ_WINDOWS_DEPS}/bin/*.dll)
  install(FILES ${QZ_RUNTIME_DLLS} DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
  install(DIRECTORY ${QZ_WINDOWS_DEPS}/share/licenses DESTINATION ${CMAKE_INSTALL_DOCDIR}
    COMPONENT runtime)
  # The licence of GCC's runtime refers to this text.
  install(FILES /usr/share/common-licenses/GPL-3 DESTINATION ${CMAKE_INSTALL_DOCDIR}/licenses
    COMPONENT runtime OPTIONAL)
else()
  # libbacktrace is linked statically; its licence is in the compiler's licence text. Minimal systems may
  # lack that file.
  cmake_path(GET QZ_BACKTRACE_FOLDER FILENAME QZ_GCC_VERSION)
  install(FILES /usr/share/doc/gcc-${QZ_GCC_VERSION}-base/copyright OPTIONAL
    DESTINATION ${CMAKE_INSTALL_DOCDIR}/licenses/libbacktrace COMPONENT runtime)
endif()
