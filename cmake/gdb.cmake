# What gdb loads by itself with the library: beside the library in the build folder, and installed in the
# folder that gdb keeps for the library's full path. docs/debugging.md says what it shows.
set(script libcommon.so.${PROJECT_VERSION}-gdb.py)
file(CREATE_LINK ${PROJECT_SOURCE_DIR}/tools/gdb/common_gdb.py ${PROJECT_BINARY_DIR}/${script} SYMBOLIC)

# Below the folder where it is installed in the end, which "cmake --install --prefix" says.
set(folder "${CMAKE_INSTALL_DATADIR}/gdb/auto-load\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}")
install(FILES tools/gdb/common_gdb.py DESTINATION ${folder} RENAME ${script} COMPONENT gdb)
install(DIRECTORY tools/gdb/libcommon_gdb DESTINATION ${folder} COMPONENT gdb FILES_MATCHING PATTERN "*.py")

# Debug information of what the commands look at inside the library, so that the suite can try them in
# every configuration. Who installs the library chooses for the whole of it.
if(COMMON_BUILD_TESTS)
  set_property(SOURCE log/common_log.cpp timer/timer_thread.cpp APPEND PROPERTY COMPILE_OPTIONS -g)
endif()
