# The build takes the version from the header, and stops at one whose text and numbers do not agree.
#   cmake -D SOURCE=<the project> -D VERSION=<of the project> -D WORK=<folder to use> -P version_test.cmake
cmake_minimum_required(VERSION 3.20)
include(${CMAKE_CURRENT_LIST_DIR}/run.cmake)

file(REMOVE_RECURSE ${WORK})
file(READ ${SOURCE}/include/common_version.h header)

# refused(<what it says> <line> <its replacement>): reads a header with another line.
function(refused text old new)
  string(REGEX REPLACE "${old}" "${new}" changed "${header}")
  if(changed STREQUAL header)
    message(FATAL_ERROR "the header has no line '${old}'")
  endif()
  file(WRITE ${WORK}/common_version.h "${changed}")
  execute_process(
    COMMAND ${CMAKE_COMMAND} -D COMMON_VERSION_HEADER=${WORK}/common_version.h -P
            ${SOURCE}/cmake/version.cmake
    ERROR_VARIABLE errors
    RESULT_VARIABLE result)
  string(REGEX REPLACE "[ \n]+" " " errors "${errors}") # which were wrapped
  if(result EQUAL 0 OR NOT errors MATCHES "${text}")
    message(SEND_ERROR "with '${new}' it ended with ${result}: ${errors}")
  endif()
endfunction()

include(${SOURCE}/cmake/version.cmake)
if(NOT COMMON_VERSION STREQUAL VERSION)
  message(SEND_ERROR "the header says ${COMMON_VERSION}, the project ${VERSION}")
endif()
foreach(part MAJOR MINOR PATCH)
  set(wrong "COMMON_VERSION_${part} is no number below 100")
  refused("${wrong}" "(COMMON_VERSION_${part}) [0-9]+\n" "\\1 x\n")
  refused("${wrong}" "(COMMON_VERSION_${part}) [0-9]+\n" "\\1 100\n")
  refused("${wrong}" "(COMMON_VERSION_${part}) [0-9]+\n" "\\1 07\n")
  refused("${wrong}" "#define (COMMON_VERSION_${part}) [0-9]+\n" "")
endforeach()
refused("COMMON_VERSION is not" "(COMMON_VERSION_PATCH) [0-9]+\n" "\\1 98\n")
refused("COMMON_VERSION is not" "(COMMON_VERSION \"[^\"]*)\"" "\\1.0\"")
refused("COMMON_VERSION is not" "#define (COMMON_VERSION \"[^\"]*\")\n" "")
