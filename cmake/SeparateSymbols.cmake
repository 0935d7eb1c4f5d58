# qz_separate_symbols(<target> DESTINATION <where the target is installed>): moves debugging information
# from the target to a file in the folder ".debug" beside it, where debuggers, profilers and crash
# reports look. Names of functions stay in the target.
function(qz_separate_symbols target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "DESTINATION" "")
  if(NOT QZ_SEPARATE_SYMBOLS OR QZ_SANITIZE OR WIN32 OR NOT CMAKE_OBJCOPY)
    return()
  endif()
  set(symbols $<TARGET_FILE_DIR:${target}>/.debug/$<TARGET_FILE_NAME:${target}>.debug)
  add_custom_command(TARGET ${target} POST_BUILD
    COMMAND ${CMAKE_COMMAND} -E make_directory $<TARGET_FILE_DIR:${target}>/.debug
    COMMAND ${CMAKE_OBJCOPY} --only-keep-debug $<TARGET_FILE:${target}> ${symbols}
    COMMAND ${CMAKE_OBJCOPY} --strip-debug --add-gnu-debuglink=${symbols} $<TARGET_FILE:${target}>
    VERBATIM)
  if(QZ_INSTALL)
    install(FILES ${symbols} DESTINATION ${arg_DESTINATION}/.debug COMPONENT symbols)
  endif()
endfunction()
