# The coverage build (./dev coverage): counts how often each line and branch of the library, the tools and
# the C++ layer is run. Included last, as it adds to targets of all folders; no other build knows of it.
if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  message(FATAL_ERROR "COMMON_COVERAGE takes g++")
endif()

# Counters are atomic, as threads and processes share them: tools/coverage/counters.c. Each function's are a
# section of their own for the linker to put together; objects do not register themselves with gcov's
# library, but are listed in a section, too. A function that is inlined whatever the optimisation would be
# counted once for each of its callers.
set(coverage_flags
    -fprofile-arcs
    -ftest-coverage
    -fprofile-update=atomic
    -fprofile-info-section=coverage_objects
    -fdata-sections
    -fprofile-exclude-files=^/usr/
    -Dalways_inline=noinline)

# What is measured: the library, the tools, what tools and tests share.
foreach(
  target IN
  ITEMS common_objects
        common_support
        common_target_support
        commonctl
        commonctl_parts
        commonctl_serve
        simulated_target
        target_driver
        target_flashctl
        target_mount
        target_pidin
        target_program)
  target_compile_options(${target} PRIVATE $<$<COMPILE_LANGUAGE:CXX>:${coverage_flags}>)
  target_link_libraries(${target} PRIVATE gcov)
endforeach()

# The C++ layer is compiled with its tests, of which nothing else is counted; some find it in the build tree.
set(layer_flags
    -fprofile-filter-files=/include/commonpp/
    -fprofile-prefix-map=${PROJECT_BINARY_DIR}/include/commonpp=${PROJECT_SOURCE_DIR}/include/commonpp)
foreach(target IN ITEMS commonpp_bodies commonpp_fault_test commonpp_internal_test commonpp_test)
  target_compile_options(${target} PRIVATE $<$<COMPILE_LANGUAGE:CXX>:${coverage_flags};${layer_flags}>)
  set_target_properties(${target} PROPERTIES DISABLE_PRECOMPILE_HEADERS ON)
endforeach()

# What explores orders of atomic operations would take the counters for some; nor may it allocate what
# gcov's library does.
foreach(target IN ITEMS common_log_stepped common_wdm_stepped)
  if(TARGET ${target})
    target_compile_options(${target} PRIVATE -fno-profile-arcs -fno-test-coverage)
  endif()
endforeach()

set(COMMON_COVERAGE_FOLDER ${PROJECT_BINARY_DIR}/counters)
file(MAKE_DIRECTORY ${COMMON_COVERAGE_FOLDER})

# common_count_in(<target>): lets a program or a shared object count. What counts is compiled apart from the
# target's sources, whose flags and precompiled headers stay as they are.
function(common_count_in target)
  add_library(${target}_counters OBJECT EXCLUDE_FROM_ALL ${PROJECT_SOURCE_DIR}/tools/coverage/counters.c)
  target_compile_definitions(
    ${target}_counters PRIVATE COVERAGE_TARGET="${target}" COVERAGE_FOLDER="${COMMON_COVERAGE_FOLDER}")
  target_link_libraries(${target}_counters PRIVATE common_warnings)
  target_sources(${target} PRIVATE $<TARGET_OBJECTS:${target}_counters>)
  target_link_options(${target} PRIVATE -Wl,-T,${PROJECT_SOURCE_DIR}/tools/coverage/counters.ld)
  target_link_libraries(${target} PRIVATE gcov)
endfunction()

# common_count_below(<folder>): lets all programs and shared objects count, and lists them.
function(common_count_below folder)
  get_property(targets DIRECTORY ${folder} PROPERTY BUILDSYSTEM_TARGETS)
  foreach(target IN LISTS targets)
    get_target_property(type ${target} TYPE)
    if(type MATCHES "^(EXECUTABLE|SHARED_LIBRARY)$" AND NOT target STREQUAL "common_gtest")
      common_count_in(${target})
      set_property(GLOBAL APPEND_STRING PROPERTY COMMON_COVERAGE_TARGETS
                   "${target} ${type} $<TARGET_FILE:${target}>\n")
    endif()
  endforeach()
  get_property(folders DIRECTORY ${folder} PROPERTY SUBDIRECTORIES)
  foreach(below IN LISTS folders)
    common_count_below(${below})
  endforeach()
endfunction()
common_count_below(${PROJECT_SOURCE_DIR})
get_property(targets GLOBAL PROPERTY COMMON_COVERAGE_TARGETS)
file(GENERATE OUTPUT ${PROJECT_BINARY_DIR}/counting_targets.txt CONTENT "${targets}")
