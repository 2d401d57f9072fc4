# Installs the lv2 component under a scratch prefix and checks that a host
# finds both plugins there.
file(REMOVE_RECURSE ${PREFIX})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --component lv2 --prefix ${PREFIX}
  RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "install failed")
endif()
foreach(file IN ITEMS manifest.ttl q38.ttl presets.ttl q38.so LICENSE)
  if(NOT EXISTS ${PREFIX}/lib/lv2/q38.lv2/${file})
    message(FATAL_ERROR "not installed: lib/lv2/q38.lv2/${file}")
  endif()
endforeach()
execute_process(COMMAND ${CMAKE_COMMAND} -E env LV2_PATH=${PREFIX}/lib/lv2 ${LV2LS}
  OUTPUT_VARIABLE plugins RESULT_VARIABLE result)
if(NOT result EQUAL 0 OR NOT plugins MATCHES "urn:q38:preamp:stereo" OR NOT plugins MATCHES "urn:q38:preamp:mono")
  message(FATAL_ERROR "lv2ls in the installed tree lists: ${plugins}")
endif()
file(REMOVE_RECURSE ${PREFIX})
