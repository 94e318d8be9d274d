# What is installed, and how others find it there and in the build tree: by the CMake package Common or
# the pkg-config package common. Nothing names the folder that it is installed in, so that it can be
# moved. The components:
#   runtime      what a program needs that runs
#   development  what a program needs that is compiled, and what a developer needs
#   tools        commonctl
#   gdb          what gdb shows of it (cmake/gdb.cmake), in a folder that names the library's
include(CMakePackageConfigHelpers)
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}" OR IS_ABSOLUTE "${CMAKE_INSTALL_INCLUDEDIR}")
  message(FATAL_ERROR "CMAKE_INSTALL_LIBDIR and CMAKE_INSTALL_INCLUDEDIR are given below the prefix")
endif()
set(COMMON_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Common)

install(
  TARGETS common
  EXPORT CommonTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development)
install(
  DIRECTORY include/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/common
  COMPONENT development
  FILES_MATCHING
  PATTERN "*.h"
  PATTERN commonpp EXCLUDE)
install(
  DIRECTORY include/commonpp
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  COMPONENT development
  FILES_MATCHING
  PATTERN "*.hpp")

# In the build tree, links give the folder the names that it has when installed.
file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/include)
file(CREATE_LINK ${PROJECT_SOURCE_DIR}/include ${PROJECT_BINARY_DIR}/include/common SYMBOLIC)
file(CREATE_LINK ${PROJECT_SOURCE_DIR}/include/commonpp ${PROJECT_BINARY_DIR}/include/commonpp SYMBOLIC)

# The CMake package.
install(EXPORT CommonTargets NAMESPACE Common:: DESTINATION ${COMMON_CMAKE_DIR} COMPONENT development)
export(EXPORT CommonTargets NAMESPACE Common:: FILE ${PROJECT_BINARY_DIR}/CommonTargets.cmake)
file(WRITE ${PROJECT_BINARY_DIR}/CommonConfig.cmake
     "include(\${CMAKE_CURRENT_LIST_DIR}/CommonTargets.cmake)\n")
write_basic_package_version_file(${PROJECT_BINARY_DIR}/CommonConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/CommonConfig.cmake ${PROJECT_BINARY_DIR}/CommonConfigVersion.cmake
        DESTINATION ${COMMON_CMAKE_DIR} COMPONENT development)

# The pkg-config package. pkg-config prefers one whose name ends in -uninstalled.
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  set(COMMON_PC_TIMES " -D_FILE_OFFSET_BITS=64 -D_TIME_BITS=64")
else()
  set(COMMON_PC_TIMES "")
endif()
set(COMMON_PC_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
string(REGEX REPLACE "[^/]+" ".." COMMON_PC_UP /${COMMON_PC_DIR})
set(COMMON_PC_INCLUDE /${CMAKE_INSTALL_INCLUDEDIR})
set(COMMON_PC_LIB /${CMAKE_INSTALL_LIBDIR})
configure_file(cmake/common.pc.in ${PROJECT_BINARY_DIR}/installed/common.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/installed/common.pc DESTINATION ${COMMON_PC_DIR}
        COMPONENT development)
set(COMMON_PC_UP "")
set(COMMON_PC_INCLUDE /include)
set(COMMON_PC_LIB "")
configure_file(cmake/common.pc.in ${PROJECT_BINARY_DIR}/common-uninstalled.pc @ONLY)
