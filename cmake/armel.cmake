# SPDX-License-Identifier: LGPL-2.1-or-later
# Toolchain file for the board: ARMv5TE, soft-float, which is Debian's armel. The libraries come
# from the folder that scripts/make-sysroot makes: the variable QVCOMMON_SYSROOT of CMake or of the
# environment, or build/sysroot-armel of the tree. Tests run under the emulator; use
# scripts/test-arm for that.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv5tejl)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabi)

if(NOT QVCOMMON_SYSROOT)
    if(DEFINED ENV{QVCOMMON_SYSROOT})
        set(QVCOMMON_SYSROOT "$ENV{QVCOMMON_SYSROOT}")
    else()
        get_filename_component(QVCOMMON_SYSROOT "${CMAKE_CURRENT_LIST_DIR}/../build/sysroot-armel"
                               ABSOLUTE)
    endif()
    set(QVCOMMON_SYSROOT "${QVCOMMON_SYSROOT}" CACHE PATH "Folder with the target's libraries")
endif()
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES QVCOMMON_SYSROOT)
if(NOT EXISTS "${QVCOMMON_SYSROOT}/.made-by")
    message(FATAL_ERROR "There is no sysroot in ${QVCOMMON_SYSROOT}: scripts/make-sysroot of "
                        "libqvcommon's sources makes one. Give its folder as QVCOMMON_SYSROOT.")
endif()

set(CMAKE_SYSROOT "${QVCOMMON_SYSROOT}")
set(CMAKE_C_COMPILER arm-linux-gnueabi-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabi-g++)
set(CMAKE_C_FLAGS_INIT "-march=armv5te")
set(CMAKE_CXX_FLAGS_INIT "-march=armv5te")

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
# Not ONLY: an application looks for the installed library outside the sysroot too.
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)
set(ENV{PKG_CONFIG_LIBDIR} "${CMAKE_SYSROOT}/usr/lib/arm-linux-gnueabi/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig")
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${CMAKE_SYSROOT}")

set(CMAKE_CROSSCOMPILING_EMULATOR "/usr/bin/qemu-arm-static;-cpu;arm926;-L;${CMAKE_SYSROOT}")
