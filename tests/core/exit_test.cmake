# Ends a process in the midst of calls, again and again:
# -DPROBE=... -DWAY=... -DLIBRARY=... -DPLUG_IN=... -DRUNS=... -DEMULATOR=...
foreach(run RANGE 1 ${RUNS})
  execute_process(COMMAND ${EMULATOR} ${PROBE} ${WAY} ${LIBRARY} ${PLUG_IN} ${run}
    RESULT_VARIABLE result OUTPUT_QUIET ERROR_QUIET TIMEOUT 20)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "run ${run} ended with ${result}")
  endif()
endforeach()
