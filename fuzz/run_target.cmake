# Runs one fuzz target for a bounded time, as a ctest entry:
#   cmake -DTARGET=<program> -DSEEDS=<dir> -DWORK=<dir> -DSECONDS=<n> -P run_target.cmake
# New inputs go to WORK/corpus, which each run starts empty, so the seed
# corpus stays as it was written; crash inputs go to WORK/artifacts.
file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK}/corpus ${WORK}/artifacts)
execute_process(
  COMMAND ${TARGET} -max_total_time=${SECONDS} -timeout=10 -rss_limit_mb=2048 -print_final_stats=1
          -artifact_prefix=${WORK}/artifacts/ ${WORK}/corpus ${SEEDS}
  RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "${TARGET} failed (${status}); the input is in ${WORK}/artifacts")
endif()
