# Reads the version of the library from its header into COMMON_VERSION. A header whose text and numbers
# do not agree stops here; so it does run alone: cmake -D COMMON_VERSION_HEADER=... -P version.cmake
cmake_policy(VERSION 3.20)
if(NOT COMMON_VERSION_HEADER)
  set(COMMON_VERSION_HEADER ${CMAKE_CURRENT_LIST_DIR}/../include/common_version.h)
endif()

file(STRINGS ${COMMON_VERSION_HEADER} lines REGEX "^#define COMMON_VERSION(_(MAJOR|MINOR|PATCH))? ")
set(numbers "")
foreach(part MAJOR MINOR PATCH)
  if(NOT ";${lines};" MATCHES ";#define COMMON_VERSION_${part} (0|[1-9][0-9]?);")
    message(FATAL_ERROR "${COMMON_VERSION_HEADER}: COMMON_VERSION_${part} is no number below 100")
  endif()
  list(APPEND numbers ${CMAKE_MATCH_1})
endforeach()
list(JOIN numbers "." COMMON_VERSION)
if(NOT "#define COMMON_VERSION \"${COMMON_VERSION}\"" IN_LIST lines)
  message(FATAL_ERROR "${COMMON_VERSION_HEADER}: COMMON_VERSION is not \"${COMMON_VERSION}\"")
endif()
