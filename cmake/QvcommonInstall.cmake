# SPDX-License-Identifier: LGPL-2.1-or-later
# What is installed. Nothing in it names the prefix, so an installed tree may be moved.
include(CMakePackageConfigHelpers)

set(qvcommon_cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/qvcommon)
set(qvcommon_pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
set(qvcommon_include_dir ${CMAKE_INSTALL_INCLUDEDIR}/qvcommon)

target_include_directories(qvcommon INTERFACE
    $<INSTALL_INTERFACE:${qvcommon_include_dir}>        # <trace.h>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)   # <qvcommon/trace.h>

install(TARGETS qvcommon EXPORT qvcommonTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development)
install(FILES ${qvcommon_headers} DESTINATION ${qvcommon_include_dir} COMPONENT development)
install(EXPORT qvcommonTargets NAMESPACE qvcommon:: DESTINATION ${qvcommon_cmake_dir}
    COMPONENT development)

# How users of the installed library find the Qt that it was built with.
if(QVCOMMON_QT EQUAL 4)
    set(QVCOMMON_FIND_QT "Qt4 4.8 COMPONENTS QtCore QtNetwork")
    set(QVCOMMON_PC_REQUIRES "QtCore >= 4.8, QtNetwork >= 4.8")
else()
    set(QVCOMMON_FIND_QT "Qt${QVCOMMON_QT} COMPONENTS Core Network")
    set(QVCOMMON_PC_REQUIRES "Qt${QVCOMMON_QT}Core, Qt${QVCOMMON_QT}Network")
endif()

configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/qvcommonConfig.cmake.in
    ${PROJECT_BINARY_DIR}/qvcommonConfig.cmake
    INSTALL_DESTINATION ${qvcommon_cmake_dir}
    NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/qvcommonConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/qvcommonConfig.cmake
              ${PROJECT_BINARY_DIR}/qvcommonConfigVersion.cmake
    DESTINATION ${qvcommon_cmake_dir} COMPONENT development)

# The paths of the pkg-config file start from the folder it lies in.
file(RELATIVE_PATH QVCOMMON_PC_PREFIX /root/${qvcommon_pkgconfig_dir} /root)
string(REGEX REPLACE "/$" "" QVCOMMON_PC_PREFIX "${QVCOMMON_PC_PREFIX}")
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}" OR IS_ABSOLUTE "${CMAKE_INSTALL_INCLUDEDIR}")
    message(FATAL_ERROR "Give CMAKE_INSTALL_LIBDIR and CMAKE_INSTALL_INCLUDEDIR relative to the "
                        "prefix: what is installed can be moved")
endif()
configure_file(${CMAKE_CURRENT_LIST_DIR}/qvcommon.pc.in ${PROJECT_BINARY_DIR}/qvcommon.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qvcommon.pc DESTINATION ${qvcommon_pkgconfig_dir}
    COMPONENT development)

# For applications that are built for the board.
install(FILES ${CMAKE_CURRENT_LIST_DIR}/armel.cmake DESTINATION ${CMAKE_INSTALL_DATADIR}/qvcommon
    COMPONENT development)

# The description of the interface, once scripts/make-docs has made it.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/build/doc/html DESTINATION ${CMAKE_INSTALL_DOCDIR}
    COMPONENT documentation OPTIONAL)
install(FILES ${PROJECT_SOURCE_DIR}/build/doc/qvcommon.qch
              ${PROJECT_SOURCE_DIR}/build/doc/qvcommon.tag
    DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documentation OPTIONAL)
