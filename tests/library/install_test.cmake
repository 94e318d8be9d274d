# The installed library is found, compiled against and linked by a project that knows only where it
# was installed.
#   cmake -D BUILD=<build folder of the library> -D WORK=<folder to use> -D GENERATOR=...
#         -D C_COMPILER=... -D C_FLAGS=... -P install_test.cmake
include(${CMAKE_CURRENT_LIST_DIR}/run.cmake)

file(REMOVE_RECURSE ${WORK})
run(ignored ${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/prefix)
run(ignored
    ${CMAKE_COMMAND}
    -S ${CMAKE_CURRENT_LIST_DIR}/consumer
    -B ${WORK}/consumer
    -G ${GENERATOR}
    -D CMAKE_C_COMPILER=${C_COMPILER}
    -D CMAKE_C_FLAGS=${C_FLAGS}
    -D CMAKE_PREFIX_PATH=${WORK}/prefix)
run(ignored ${CMAKE_COMMAND} --build ${WORK}/consumer)
run(text ${WORK}/consumer/consumer)
if(NOT text STREQUAL "Success\n")
  message(FATAL_ERROR "the consumer wrote '${text}'")
endif()
