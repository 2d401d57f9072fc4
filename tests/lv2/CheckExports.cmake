# The plugin binary exports lv2_descriptor and nothing else.
execute_process(COMMAND ${NM} -D --defined-only ${PLUGIN}
  OUTPUT_VARIABLE symbols RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "nm failed on ${PLUGIN}")
endif()
string(REGEX MATCHALL "[^ \n]+\n" names "${symbols}")
string(REPLACE "\n" "" names "${names}")
if(NOT names STREQUAL "lv2_descriptor")
  message(FATAL_ERROR "exported symbols: ${names}")
endif()
