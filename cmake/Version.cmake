# qz_read_version(<variable>): the library's version, which the public header states.
function(qz_read_version variable)
  set(header ${CMAKE_CURRENT_SOURCE_DIR}/inc/Core/Version.h)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${header})
  file(STRINGS ${header} lines REGEX "^#define QZ_VERSION_(MAJOR|MINOR|PATCH) ")
  list(TRANSFORM lines REPLACE "^#define QZ_VERSION_[A-Z]+ " "")
  list(JOIN lines "." version)
  set(${variable} ${version} PARENT_SCOPE)
endfunction()
