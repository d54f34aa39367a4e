# Builds for arm64 on another machine: compiler and linker are Debian's crossbuild-essential-arm64,
# headers and libraries those that tools/fetch-arm64 unpacked. What runs while building (moc, flatc,
# lrelease) is this machine's.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)

set(VELMARO_SYSROOT ${CMAKE_CURRENT_LIST_DIR}/../build/arm64-libraries/root CACHE PATH
    "Where the libraries for arm64 are unpacked")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VELMARO_SYSROOT)
file(REAL_PATH ${VELMARO_SYSROOT} CMAKE_SYSROOT)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# pkg-config sees nothing of this machine's.
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${CMAKE_SYSROOT})
set(ENV{PKG_CONFIG_LIBDIR}
    ${CMAKE_SYSROOT}/usr/lib/aarch64-linux-gnu/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64;-L;${CMAKE_SYSROOT})

# Qt's tools for meta-objects and translations, which run here.
set(QT_HOST_PATH /usr)
set(QT_HOST_PATH_CMAKE_DIR /usr/lib/${CMAKE_HOST_SYSTEM_PROCESSOR}-linux-gnu/cmake)
set(Qt6LinguistTools_DIR ${QT_HOST_PATH_CMAKE_DIR}/Qt6LinguistTools)
