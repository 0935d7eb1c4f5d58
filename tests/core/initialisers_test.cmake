# Looks for static initialisers in the library's object files: -DOBJDUMP=... -DOBJECTS=...
foreach(object IN LISTS OBJECTS)
  execute_process(COMMAND ${OBJDUMP} -h ${object} OUTPUT_VARIABLE sections COMMAND_ERROR_IS_FATAL ANY)
  if(sections MATCHES "\\.(init_array|ctors)" AND NOT object MATCHES "/platform/posix/entry\\.cpp")
    message(SEND_ERROR "${object} has a static initialiser; make what it makes constinit, or on first use")
  endif()
endforeach()
