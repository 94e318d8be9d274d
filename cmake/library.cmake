# libcommon.so. Its sources are compiled once, into common_objects, so that tests can also link
# them in another way (with forced failures, or into the test program to reach internals).
set(COMMON_EXPORTS ${PROJECT_SOURCE_DIR}/cmake/libcommon.map)

add_library(
  common_objects OBJECT
  containers/abstract_set.cpp
  containers/abstract_set_new.cpp
  containers/abstract_set_walk.cpp
  containers/blockq.cpp
  containers/client_descriptor.cpp
  containers/client_nodes.cpp
  containers/common_blockQEx.cpp
  containers/data.cpp
  containers/data_hex.cpp
  containers/data_hex_avx2.cpp
  containers/descriptor_search.cpp
  containers/list_by_abstractset.cpp
  containers/list_light.cpp
  containers/map.cpp
  containers/ring_buffer.cpp
  files/error_counter.cpp
  files/flash_check.cpp
  files/flash_driver.cpp
  files/flash_mount.cpp
  files/flash_parameters.cpp
  files/flash_walk.cpp
  files/folder.cpp
  files/folder_items.cpp
  files/oxa_file.cpp
  files/oxa_getopt.cpp
  files/oxa_shims.cpp
  files/process.cpp
  files/text.cpp
  foundation/initialisation.cpp
  foundation/mem_malloc.cpp
  foundation/settings_text.cpp
  foundation/status.cpp
  foundation/thread_state.cpp
  foundation/version.cpp
  hsm/hsm.cpp
  hsm/hsm_diagram.cpp
  hsm/hsm_dot.cpp
  hsm/hsm_mermaid.cpp
  hsm/hsm_trace.cpp
  hsm/ls_hsm.cpp
  log/common_debug.cpp
  log/common_debug_settings.cpp
  log/common_log.cpp
  log/common_log_files.cpp
  log/common_log_handler.cpp
  log/common_log_layout.cpp
  log/common_log_parser.cpp
  log/common_log_settings.cpp
  log/common_log_start.cpp
  log/module_names.cpp
  log/oxa_logger.cpp
  log/process_locks.cpp
  log/report.cpp
  log/thread_record.cpp
  platform/assertion.cpp
  platform/futex.cpp
  platform/line_reader.cpp
  platform/short_look.cpp
  platform/thread_name.cpp
  thread/common_monitor.cpp
  thread/common_mutex.cpp
  thread/common_process.cpp
  thread/common_sync.cpp
  thread/common_system.cpp
  thread/common_thread.cpp
  timer/common_wdm.cpp
  timer/common_wdm_monitor.cpp
  timer/detached_thread.cpp
  timer/timer.cpp
  timer/timer_arming.cpp
  timer/timer_thread.cpp
  values/charset.cpp
  values/common_uuid.cpp
  values/convert.cpp
  values/oxavar.cpp
  values/oxavar_serial.cpp
  values/oxavar_text.cpp
  values/regexp.cpp
  values/regexp_shorthands.cpp)
target_include_directories(
  common_objects PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> PRIVATE ${PROJECT_SOURCE_DIR})
target_link_libraries(common_objects PRIVATE common_warnings)
# No run-time support library: no exceptions, no type information, no guarded statics. Unwind
# tables stay, for thread cancellation and back traces. Thread-local words are few and small enough
# for the static block, which saves the call that a shared object would need to find them.
# What a jump leads to is not aligned, which takes 3 KiB less, and what is seldom run stays at the end
# of its function, as a piece of its own needs unwind tables of its own: 2 KiB.
target_compile_options(
  common_objects
  PRIVATE -fno-exceptions
          -fno-rtti
          -fno-threadsafe-statics
          -fasynchronous-unwind-tables
          -fvisibility=hidden
          -fvisibility-inlines-hidden
          -fno-semantic-interposition
          -ftls-model=initial-exec
          $<$<CXX_COMPILER_ID:GNU>:-fno-align-jumps>
          $<$<CXX_COMPILER_ID:GNU>:-fno-reorder-blocks-and-partition>
          ${COMMON_LIBRARY_OPTIONS})

# Calls of the C library that take as long as the jump to them: straight through the address table,
# not by way of a stub. Everywhere else the stubs stay, as what they lead to is looked up when it is
# first called, and most processes never call most of it.
set_source_files_properties(
  containers/blockq.cpp
  containers/common_blockQEx.cpp
  containers/data.cpp
  containers/list_light.cpp
  containers/ring_buffer.cpp
  foundation/mem_malloc.cpp
  platform/short_look.cpp
  thread/common_monitor.cpp
  thread/common_mutex.cpp
  thread/common_sync.cpp
  values/oxavar.cpp
  values/oxavar_serial.cpp
  PROPERTIES COMPILE_OPTIONS -fno-plt)

# What runs once in a process or seldom, or waits for the kernel anyway, is compiled for size: 6 KiB
# less. Not here is what a benchmark measures by the instruction, and what would need a relocation or
# a call of the C library more.
set_property(
  SOURCE files/error_counter.cpp
         files/flash_check.cpp
         files/flash_driver.cpp
         files/flash_mount.cpp
         files/flash_parameters.cpp
         files/folder.cpp
         files/oxa_shims.cpp
         files/process.cpp
         files/text.cpp
         foundation/settings_text.cpp
         foundation/status.cpp
         hsm/hsm_diagram.cpp
         hsm/hsm_dot.cpp
         hsm/hsm_mermaid.cpp
         log/common_debug_settings.cpp
         log/common_log_files.cpp
         log/common_log_parser.cpp
         log/common_log_start.cpp
         platform/line_reader.cpp
         platform/thread_name.cpp
         thread/common_process.cpp
         thread/common_system.cpp
         timer/detached_thread.cpp
         timer/timer_thread.cpp
         values/common_uuid.cpp
         values/regexp_shorthands.cpp
  APPEND
  PROPERTY COMPILE_OPTIONS $<$<CONFIG:Release>:-Os>)

# Link flags of the shared library, and of the variant of it that the fault tests use. It is never
# unloaded: threads that end later still run its destructor of the thread record.
set(COMMON_LINK_OPTIONS
    -Wl,--version-script=${COMMON_EXPORTS}
    -Wl,--as-needed
    -Wl,-z,nodelete
    -Wl,-z,relro
    -Wl,-Bsymbolic-functions
    -Wl,--no-undefined-version)

add_library(common SHARED $<TARGET_OBJECTS:common_objects>)
add_library(Common::common ALIAS common)
set_target_properties(
  common
  PROPERTIES VERSION ${PROJECT_VERSION}
             SOVERSION ${PROJECT_VERSION_MAJOR}
             LINK_DEPENDS ${COMMON_EXPORTS})
target_link_options(common PRIVATE ${COMMON_LINK_OPTIONS})
# Whatever needs more than the C library fails to link. Instrumented code brings libraries of its own.
if(NOT COMMON_INSTRUMENTED)
  target_link_options(common PRIVATE -nodefaultlibs -Wl,--no-undefined)
  target_link_libraries(common PRIVATE -lc -lgcc)
  # On 32-bit ARM, unwind tables name functions of this library, which comes with the C library there.
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "^arm" AND CMAKE_SIZEOF_VOID_P EQUAL 4)
    target_link_libraries(common PRIVATE -lgcc_s)
  endif()
endif()
# <common/timer.h> and <timer.h> both work, in the build tree as installed.
target_include_directories(
  common
  INTERFACE $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
            $<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/include>
            $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/common>
            $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)

# Times in the interface have 64 bits, as in the library.
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  target_compile_definitions(common INTERFACE _FILE_OFFSET_BITS=64 _TIME_BITS=64)
endif()
