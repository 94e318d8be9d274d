# The library needs the C library only, registers its answer to fork when it is loaded and runs
# nothing else then, and is never unloaded.
#   cmake -D LIBRARY=... -D READELF=... -D NM=... -D POINTER_SIZE=... -P dynamic_section_test.cmake
include(${CMAKE_CURRENT_LIST_DIR}/run.cmake)

set(problems "")

function(demand condition_text)
  if(NOT (${ARGN}))
    set(problems "${problems}${condition_text}\n" PARENT_SCOPE)
  endif()
endfunction()

run(dynamic ${READELF} -dW ${LIBRARY})

string(REGEX MATCHALL "\\(NEEDED\\)[^\n]*" needed "${dynamic}")
string(REGEX REPLACE "\\(NEEDED\\)[^;]*\\[([^;]*)\\]" "\\1" needed "${needed}")
run(symbols ${NM} ${LIBRARY})
set(wanted "libc.so.6")
if(symbols MATCHES "__aeabi_unwind_cpp_pr0")
  # Named by the unwind tables of 32-bit ARM.
  list(APPEND wanted "libgcc_s.so.1")
endif()
demand("needs '${needed}' instead of '${wanted}'" needed STREQUAL wanted)

run(versions ${READELF} -VW ${LIBRARY})
string(REGEX MATCHALL "GLIBC_2\\.(3[5-9]|[4-9][0-9])" too_new "${versions}")
demand("needs '${too_new}' where GLIBC_2.34 is promised" NOT too_new AND versions MATCHES "GLIBC_2\\.34")

string(REGEX MATCH "\\(SONAME\\)[^\n]*\\[([^\n]*)\\]" found "${dynamic}")
set(soname "${CMAKE_MATCH_1}")
demand("its name is '${soname}'" soname STREQUAL "libcommon.so.1")

demand("has text relocations" NOT dynamic MATCHES "TEXTREL")
demand("can be unloaded" dynamic MATCHES "NODELETE")
demand("names folders to search" NOT dynamic MATCHES "\\(R(UN)?PATH\\)")

# One entry each of the C library's own start files, and one constructor. On arm64 the compiler's library has one
# more, which asks what the processor can do.
set(constructors 1)
if(symbols MATCHES "init_have_lse_atomics")
  set(constructors 2)
endif()
math(EXPR size_of_INIT "(1 + ${constructors}) * ${POINTER_SIZE}")
set(size_of_FINI ${POINTER_SIZE})
foreach(kind INIT FINI)
  set(size 0)
  if(dynamic MATCHES "\\(${kind}_ARRAYSZ\\) +([0-9]+)")
    set(size ${CMAKE_MATCH_1})
  endif()
  demand("${kind}_ARRAY has ${size} bytes" size EQUAL size_of_${kind})
endforeach()

# The names of functions that a compiler makes for objects that need code at the start.
string(REGEX MATCHALL "[^ \n]*(_GLOBAL__sub_I|_GLOBAL__I_|__static_initialization)[^ \n]*" made
             "${symbols}")
demand("has initialisers: ${made}" NOT made)
demand("does not register its answer to fork" symbols MATCHES "register_answer_to_fork")
demand("was stripped: initialisers cannot be found" symbols MATCHES " [tT] ")

if(problems)
  message(FATAL_ERROR "${LIBRARY}\n${problems}")
endif()
