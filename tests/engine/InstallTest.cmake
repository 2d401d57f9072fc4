# Installs the engine into a fresh prefix and builds a small consumer against
# it, once with find_package(Q38) and once with pkg-config; also checks that
# the library exports exactly the factory and the hook.
#
# Variables: BUILD_DIR, WORK_DIR, CONSUMER_SOURCE, LIBRARY, GENERATOR,
# MAKE_PROGRAM, CXX, PKG_CONFIG, NM, SANITIZE (may be empty).

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE error)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "Failed (${result}): ${ARGN}\n${output}\n${error}")
  endif()
  set(RUN_OUTPUT "${output}" PARENT_SCOPE)
endfunction()

set(prefix ${WORK_DIR}/prefix)
file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix} --component q38)

foreach(header Q38Engine.h Q38EngineHooks.h)
  if(NOT EXISTS ${prefix}/include/${header})
    message(FATAL_ERROR "${header} was not installed")
  endif()
endforeach()
file(GLOB_RECURSE pcFiles ${prefix}/*/q38.pc)
file(GLOB_RECURSE configFiles ${prefix}/*/Q38Config.cmake)
if(NOT pcFiles OR NOT configFiles)
  message(FATAL_ERROR "q38.pc or Q38Config.cmake missing under ${prefix}")
endif()
list(GET pcFiles 0 pcFile)
get_filename_component(pcDir ${pcFile} DIRECTORY)
get_filename_component(libDir ${pcDir} DIRECTORY)

# The binary interface: two symbols, nothing else.
run(${NM} -D --defined-only ${LIBRARY})
string(REGEX MATCHALL "[^ \n]+\n" exported "${RUN_OUTPUT}")
string(REPLACE "\n" "" exported "${exported}")
list(SORT exported)
if(NOT exported STREQUAL "createQ38Engine;q38FixHissSeed")
  message(FATAL_ERROR "Unexpected exports: ${exported}")
endif()

set(sanitizerFlags "")
if(SANITIZE)
  set(sanitizerFlags "-fsanitize=${SANITIZE}")
endif()

# find_package
run(${CMAKE_COMMAND} -S ${CONSUMER_SOURCE} -B ${WORK_DIR}/cmake-consumer -G ${GENERATOR}
  -DCMAKE_MAKE_PROGRAM=${MAKE_PROGRAM} -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_PREFIX_PATH=${prefix}
  "-DCMAKE_CXX_FLAGS=${sanitizerFlags}" "-DCMAKE_EXE_LINKER_FLAGS=${sanitizerFlags}")
run(${CMAKE_COMMAND} --build ${WORK_DIR}/cmake-consumer)
run(${WORK_DIR}/cmake-consumer/consumer)
if(NOT RUN_OUTPUT MATCHES "consumer ok")
  message(FATAL_ERROR "find_package consumer: ${RUN_OUTPUT}")
endif()

# pkg-config
run(${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${pcDir} PKG_CONFIG_LIBDIR=${pcDir} ${PKG_CONFIG} --cflags --libs q38)
string(STRIP "${RUN_OUTPUT}" pkgFlags)
separate_arguments(pkgFlags UNIX_COMMAND "${pkgFlags}")
separate_arguments(extraFlags UNIX_COMMAND "${sanitizerFlags}")
run(${CXX} -std=c++20 ${extraFlags} ${CONSUMER_SOURCE}/main.cpp ${pkgFlags} -o ${WORK_DIR}/pkg-consumer)
run(${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${libDir} ${WORK_DIR}/pkg-consumer)
if(NOT RUN_OUTPUT MATCHES "consumer ok")
  message(FATAL_ERROR "pkg-config consumer: ${RUN_OUTPUT}")
endif()
message(STATUS "Installed, found and linked: ${prefix}")
