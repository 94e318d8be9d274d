# The library exports exactly the names of its list, each with the version of the interface.
#   cmake -D LIBRARY=... -D EXPORTS=... -D NM=... -P exports_test.cmake
include(${CMAKE_CURRENT_LIST_DIR}/run.cmake)

run(symbols ${NM} -D --defined-only --format=posix ${LIBRARY})
string(REGEX MATCHALL "[^\n]+" lines "${symbols}")
set(exported "")
foreach(line IN LISTS lines)
  # The version itself is an absolute symbol.
  if(NOT line MATCHES "^COMMON_1\\.0(@@COMMON_1\\.0)? A")
    string(REGEX REPLACE " .*" "" name "${line}")
    list(APPEND exported ${name})
  endif()
endforeach()

file(STRINGS ${EXPORTS} lines)
set(wanted "")
foreach(line IN LISTS lines)
  if(line MATCHES "^ +([A-Za-z_][A-Za-z_0-9]*);")
    list(APPEND wanted ${CMAKE_MATCH_1}@@COMMON_1.0)
  endif()
endforeach()
if(NOT wanted)
  message(FATAL_ERROR "no name was found in ${EXPORTS}")
endif()

set(missing ${wanted})
list(REMOVE_ITEM missing ${exported})
set(too_many ${exported})
list(REMOVE_ITEM too_many ${wanted})
if(missing OR too_many)
  message(FATAL_ERROR "not exported: ${missing}\nexported, but not in the list: ${too_many}")
endif()
