# Ends a process in the midst of calls, again and again:
# -DPROBE=... -DWAY=... -DLIBRARY=... -DPLUG_IN=... -DRUNS=... -DEMULATOR=...
#
# Wine itself hangs now and then: when a thread is killed that held a lock of its ntdll (spin_lock in
# sync.c), the next one to leave a contended critical section, such as that of the heap, spins for
# ever. None of 240 runs did when this was last counted, so one may hang there, and no more.
set(hangs_left 0)
if(EMULATOR)
  set(hangs_left 1)
endif()
foreach(run RANGE 1 ${RUNS})
  execute_process(COMMAND ${EMULATOR} ${PROBE} ${WAY} ${LIBRARY} ${PLUG_IN} ${run}
    RESULT_VARIABLE result OUTPUT_QUIET ERROR_QUIET TIMEOUT 10)
  if(hangs_left GREATER 0 AND result MATCHES "timeout")
    message(STATUS "run ${run} hung")
    math(EXPR hangs_left "${hangs_left} - 1")
  elseif(NOT result EQUAL 0)
    message(FATAL_ERROR "run ${run} ended with ${result}")
  endif()
endforeach()
