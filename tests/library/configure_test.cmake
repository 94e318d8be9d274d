# A user who chooses nothing gets an optimised library and no tests; what is chosen stands; a warning of
# somebody else's compiler does not stop the build.
#   cmake -D SOURCE=<the project> -D WORK=<folder to use> -D GENERATOR=... -D C_COMPILER=...
#         -D CXX_COMPILER=... -P configure_test.cmake
include(${CMAKE_CURRENT_LIST_DIR}/run.cmake)

file(REMOVE_RECURSE ${WORK})

# configured(<folder> <option>...): gives what is compiled, in compiled, and the cache, in cache.
function(configured folder)
  run(ignored
      ${CMAKE_COMMAND}
      -S ${SOURCE}
      -B ${WORK}/${folder}
      -G ${GENERATOR}
      -D CMAKE_C_COMPILER=${C_COMPILER}
      -D CMAKE_CXX_COMPILER=${CXX_COMPILER}
      -D CMAKE_EXPORT_COMPILE_COMMANDS=ON
      ${ARGN})
  file(READ ${WORK}/${folder}/compile_commands.json compiled)
  file(READ ${WORK}/${folder}/CMakeCache.txt cache)
  set(compiled "${compiled}" PARENT_SCOPE)
  set(cache "${cache}" PARENT_SCOPE)
endfunction()

function(demand text)
  if(NOT (${ARGN}))
    message(SEND_ERROR "${text}")
  endif()
endfunction()

configured(plain)
demand("not a Release build" cache MATCHES "CMAKE_BUILD_TYPE:STRING=Release\n")
demand("not optimised for size and speed" compiled MATCHES " -O2 -DNDEBUG ")
demand("makes errors of warnings" NOT compiled MATCHES "-Werror")
demand("builds the tests" NOT compiled MATCHES "library_test.cpp")

configured(chosen -D CMAKE_BUILD_TYPE=Debug "-D CMAKE_CXX_FLAGS_DEBUG=-Og -DCHOSEN"
           "-D CMAKE_CXX_FLAGS=-DCHOSEN_TOO")
demand("loses the kind of build" cache MATCHES "CMAKE_BUILD_TYPE:STRING=Debug\n")
demand("loses flags" compiled MATCHES "-DCHOSEN_TOO +-Og -DCHOSEN ")
demand("adds flags of another kind of build" NOT compiled MATCHES "-O2")

configured(fast "-D CMAKE_CXX_FLAGS_RELEASE=-O3" "-D CMAKE_C_FLAGS_RELEASE=-O3")
demand("replaces flags" compiled MATCHES " -O3 ")
demand("adds its own" NOT compiled MATCHES "-O2|NDEBUG")
