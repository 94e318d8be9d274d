# Tests: the test framework, and the function that makes a test program.
include_guard(GLOBAL)

set(COMMON_GTEST_SOURCE /usr/src/googletest CACHE PATH "Sources of GoogleTest and GoogleMock")
if(NOT EXISTS ${COMMON_GTEST_SOURCE}/googletest/src/gtest-all.cc
   OR NOT EXISTS ${COMMON_GTEST_SOURCE}/googlemock/src/gmock-all.cc)
  message(FATAL_ERROR "No sources of GoogleTest in COMMON_GTEST_SOURCE (${COMMON_GTEST_SOURCE}). "
                      "Install the package googletest, or turn COMMON_BUILD_TESTS off.")
endif()

# Built here, from source, so that it has the word size and the sanitizers of everything else. Its
# headers are system headers to us, and our warnings are not asked of it. A shared library, as the many
# test programs would each take a copy of it.
find_package(Threads REQUIRED)
add_library(
  common_gtest SHARED EXCLUDE_FROM_ALL ${COMMON_GTEST_SOURCE}/googletest/src/gtest-all.cc
                                       ${COMMON_GTEST_SOURCE}/googlemock/src/gmock-all.cc)
target_include_directories(
  common_gtest SYSTEM
  PUBLIC ${COMMON_GTEST_SOURCE}/googletest/include ${COMMON_GTEST_SOURCE}/googlemock/include
  PRIVATE ${COMMON_GTEST_SOURCE}/googletest ${COMMON_GTEST_SOURCE}/googlemock)
target_compile_options(common_gtest PRIVATE -w -O0)
target_link_libraries(common_gtest PUBLIC Threads::Threads)

# Its headers take most of the time of compiling a test, so they are compiled once, with what tests
# have in common; position independent, for libraries and programs alike. A compiler that collects its
# garbage early takes a tenth longer.
add_library(common_test_options INTERFACE)
target_compile_options(
  common_test_options
  INTERFACE -O0 -fPIC $<$<CXX_COMPILER_ID:GNU>:--param=ggc-min-heapsize=1000000>)
file(CONFIGURE OUTPUT test_headers.cpp CONTENT "int main() {}\n")
add_executable(common_test_headers EXCLUDE_FROM_ALL ${CMAKE_CURRENT_BINARY_DIR}/test_headers.cpp)
target_precompile_headers(
  common_test_headers
  PRIVATE
  <filesystem>
  <fstream>
  <thread>
  ${PROJECT_SOURCE_DIR}/tests/harness/instances.h)
target_include_directories(
  common_test_headers PRIVATE ${PROJECT_SOURCE_DIR}/tests/harness ${PROJECT_SOURCE_DIR}/support
                              ${PROJECT_SOURCE_DIR}/include)
target_link_libraries(common_test_headers PRIVATE common_gtest common_test_options common_warnings)

# All that is labelled "threads", for a build that runs nothing else.
add_custom_target(thread_tests)

# The programs named *_soak_test: their races run briefly with the others and for long on demand.
add_custom_target(soak_tests)

# common_list_target(<target> <source or =test>...): notes what is built for which tests: those in a source,
# or one by its name. tools/test_targets.py reads the list, so that a test run by name builds no more.
function(common_list_target target)
  set_property(GLOBAL APPEND_STRING PROPERTY COMMON_TEST_TARGETS
               "${target};${CMAKE_CURRENT_BINARY_DIR};${ARGN}\n")
endfunction()

# common_write_target_list(): writes the list when all targets are known.
function(common_write_target_list)
  get_property(lines GLOBAL PROPERTY COMMON_TEST_TARGETS)
  file(WRITE ${PROJECT_BINARY_DIR}/test_targets.txt "${lines}")
endfunction()

# common_add_test(<name> SOURCES <file>... [FAULTY] [INTERNAL] [THREADS]
#                 [DEFINITIONS <definition>...] [DEPENDS <target>...])
#
# Makes a test program of a family's tests and one CTest entry for each of its tests.
#   FAULTY       links the library with forced failures (tests/harness/fault.h)
#   INTERNAL     links the library's objects into the program, to reach what it does not export
#   THREADS      gives the tests the label "threads": they are worth a run under ThreadSanitizer
#   DEFINITIONS  compile definitions of the program
#   DEPENDS      targets that must be built before it, such as programs that it runs
# Without FAULTY and INTERNAL the program uses libcommon.so as everyone does.
function(common_add_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "FAULTY;INTERNAL;THREADS" "" "SOURCES;DEFINITIONS;DEPENDS")
  if(arg_UNPARSED_ARGUMENTS OR NOT arg_SOURCES)
    message(FATAL_ERROR "common_add_test(${name}): bad arguments ${arg_UNPARSED_ARGUMENTS}")
  endif()
  if(arg_FAULTY AND arg_INTERNAL)
    message(FATAL_ERROR "common_add_test(${name}): FAULTY and INTERNAL exclude each other")
  endif()

  add_executable(${name} ${arg_SOURCES})
  # A change of a library's inside does not link its users anew.
  set_target_properties(${name} PROPERTIES LINK_DEPENDS_NO_SHARED ON)
  target_compile_definitions(${name} PRIVATE ${arg_DEFINITIONS})
  target_link_libraries(${name} PRIVATE common_test_main common_harness common_warnings)
  # What is tested has the configuration's optimisation. The tests themselves run once, so the time
  # to compile them counts more.
  target_link_libraries(${name} PRIVATE common_test_options)
  target_precompile_headers(${name} REUSE_FROM common_test_headers)
  if(arg_FAULTY)
    target_link_libraries(${name} PRIVATE common_fault_sweep common_faulty)
  elseif(arg_INTERNAL)
    target_sources(${name} PRIVATE $<TARGET_OBJECTS:common_objects>)
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include)
  else()
    target_link_libraries(${name} PRIVATE Common::common)
  endif()
  if(arg_DEPENDS)
    add_dependencies(${name} ${arg_DEPENDS})
  endif()

  list(TRANSFORM arg_SOURCES PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/ REGEX "^[^/]" OUTPUT_VARIABLE sources)
  common_list_target(${name} ${sources})
  if(name MATCHES "_soak_test$")
    add_dependencies(soak_tests ${name})
  endif()

  set(properties TIMEOUT 120)
  if(CMAKE_CROSSCOMPILING) # under an emulator
    set(properties TIMEOUT 1200)
  endif()
  if(arg_THREADS)
    list(APPEND properties LABELS threads)
    add_dependencies(thread_tests ${name})
  endif()
  # In the folder of the test: the module leaves what it needs in the scope that includes it.
  include(GoogleTest)
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST PROPERTIES ${properties} DISCOVERY_TIMEOUT 60)
endfunction()
