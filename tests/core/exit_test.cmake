# Ends a process in the middle of calls or tasks, again and again. The number of the run is its last argument:
# -DPROBE="program;argument;..." -DRUNS=... -DHANGS=...
#
# Wine itself hangs now and then: a thread is killed that holds a spin lock of Wine's ntdll, and the next
# thread that leaves a contended critical section, such as the heap's, spins for ever in
# RtlWakeAddressSingle. On a busy machine 6 of 540 runs hung when this was last counted, so up to HANGS of a
# test's runs may hang there.
foreach(run RANGE 1 ${RUNS})
  execute_process(COMMAND ${PROBE} ${run}
    RESULT_VARIABLE result OUTPUT_QUIET ERROR_VARIABLE errors TIMEOUT 20)
  if(HANGS GREATER 0 AND result MATCHES "timeout")
    message(STATUS "run ${run} hung")
    math(EXPR HANGS "${HANGS} - 1")
  elseif(NOT result EQUAL 0)
    message(FATAL_ERROR "run ${run} ended with ${result}\n${errors}")
  endif()
endforeach()
