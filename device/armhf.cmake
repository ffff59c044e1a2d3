# SPDX-FileCopyrightText: The power daemon authors
# SPDX-License-Identifier: MIT

# Toolchain: Debian's cross compiler for 32-bit ARM with hardware floating point (Debian's armhf), the sysroot and the
# emulator that scripts/device makes, and the Qt tools of the build machine.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)

set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
# All that is linked here is compiled by one compiler: that GCC 7.1 changed how some arguments are passed is no news.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)

get_filename_component(device_folder ${CMAKE_CURRENT_LIST_DIR}/../build/device ABSOLUTE)
set(CMAKE_SYSROOT ${device_folder}/sysroot)
if(NOT EXISTS ${CMAKE_SYSROOT})
    message(FATAL_ERROR "there is no ${CMAKE_SYSROOT}: scripts/device makes it")
endif()
# What Debian's CMake would know of a machine that is one.
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# pkg-config, which is the machine's own, is to see the sysroot.
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${CMAKE_SYSROOT})
set(ENV{PKG_CONFIG_LIBDIR} ${CMAKE_SYSROOT}/usr/lib/arm-linux-gnueabihf/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig)

set(CMAKE_CROSSCOMPILING_EMULATOR ${device_folder}/emulator/qemu-arm -L ${CMAKE_SYSROOT})

# Both are needed: Debian's Qt keeps its CMake files in a folder that only a machine of that kind would search.
set(QT_HOST_PATH /usr)
file(GLOB host_info /usr/lib/*/cmake/Qt6HostInfo)
if(NOT host_info)
    message(FATAL_ERROR "the build machine has no Qt 6 of its own, whose moc and qdbusxml2cpp the build runs: "
        "install qt6-base-dev and qt6-base-dev-tools")
endif()
list(GET host_info 0 host_info)
get_filename_component(QT_HOST_PATH_CMAKE_DIR ${host_info} DIRECTORY)
