# Fails unless every object of the library is built for ThreadSanitizer (each
# such object starts the sanitizer's runtime, __tsan_init), so that the
# concurrency test, which links it, has the engine's own memory accesses
# watched and not only its own.
#
# Variables: NM, LIBRARY (the static library the tests link).

execute_process(COMMAND ${NM} -A ${LIBRARY} OUTPUT_VARIABLE symbols RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "nm failed on ${LIBRARY}")
endif()
string(REGEX MATCHALL "[^:\n]+\\.o:" members "${symbols}")
list(REMOVE_DUPLICATES members)
set(instrumented 0)
foreach(member IN LISTS members)
  string(REGEX MATCH "${member}[^\n]* U __tsan_init\n" found "${symbols}")
  if(NOT found)
    string(REPLACE ":" "" name "${member}")
    message(FATAL_ERROR "${name} of ${LIBRARY} is not built for ThreadSanitizer")
  endif()
  math(EXPR instrumented "${instrumented} + 1")
endforeach()
if(instrumented EQUAL 0)
  message(FATAL_ERROR "no objects found in ${LIBRARY}")
endif()
message(STATUS "${instrumented} objects of ${LIBRARY} built for ThreadSanitizer")
