# Runs the probe again and again: -DPROBE=... -DLIBRARY=... -DWAY=... -DRUNS=... -DEMULATOR=...
foreach(run RANGE 1 ${RUNS})
  execute_process(COMMAND ${EMULATOR} ${PROBE} ${LIBRARY} ${WAY} ${run}
    RESULT_VARIABLE result OUTPUT_QUIET ERROR_VARIABLE errors TIMEOUT 20)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "run ${run} ended with ${result}\n${errors}")
  endif()
endforeach()
