# Installation, so that find_package(qzCore CONFIG) and pkg-config qzcore work, and packages.
include(CMakePackageConfigHelpers)

install(TARGETS qzCore EXPORT qzCoreTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY inc/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qzCore FILES_MATCHING PATTERN "*.h")
install(FILES LICENSE README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR} FILES_MATCHING PATTERN "*.md" PATTERN "*.svg")

set(QZ_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/qzCore)
install(EXPORT qzCoreTargets NAMESPACE qzCore:: DESTINATION ${QZ_CMAKE_DIR})
configure_package_config_file(cmake/qzCoreConfig.cmake.in ${PROJECT_BINARY_DIR}/qzCoreConfig.cmake
  INSTALL_DESTINATION ${QZ_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/qzCoreConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/qzCoreConfig.cmake
              ${PROJECT_BINARY_DIR}/qzCoreConfigVersion.cmake
  DESTINATION ${QZ_CMAKE_DIR})
# Relative to its own place, so that the package may be moved.
file(RELATIVE_PATH QZ_PC_PREFIX "/x/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/x")
configure_file(cmake/qzcore.pc.in ${PROJECT_BINARY_DIR}/qzcore.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qzcore.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

if(WIN32)
  # The DLL is no use without those it loads: Lua, the allocator, iconv and the C++ runtime, all of
  # which the set-up put into one folder.
  file(GLOB QZ_RUNTIME_DLLS ${QZ_WINDOWS_DEPS}/bin/*.dll)
  install(FILES ${QZ_RUNTIME_DLLS} DESTINATION ${CMAKE_INSTALL_BINDIR})
  install(DIRECTORY ${QZ_WINDOWS_DEPS}/share/licenses DESTINATION ${CMAKE_INSTALL_DOCDIR})
  # What the licence of GCC's runtime refers to.
  install(FILES /usr/share/common-licenses/GPL-3 DESTINATION ${CMAKE_INSTALL_DOCDIR}/licenses
    OPTIONAL)
else()
  # Linked in statically; the text is part of the compiler's. Small machines may lack it.
  cmake_path(GET QZ_BACKTRACE_FOLDER FILENAME QZ_GCC_VERSION)
  install(FILES /usr/share/doc/gcc-${QZ_GCC_VERSION}-base/copyright OPTIONAL
    DESTINATION ${CMAKE_INSTALL_DOCDIR}/licenses/libbacktrace)
endif()

set(CPACK_PACKAGE_NAME qzcore)
set(CPACK_PACKAGE_VENDOR "the qzCore developers")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY ${PROJECT_DESCRIPTION})
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_STRIP_FILES OFF)
if(WIN32)
  set(CPACK_GENERATOR ZIP)
else()
  set(CPACK_GENERATOR TGZ)
endif()
include(CPack)
